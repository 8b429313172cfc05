#include "groundstation/shell/completion.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <sstream>

#include "groundstation/commands/registry.h"
#include "groundstation/messages/setting_table.h"

namespace groundstation {
namespace {

bool same_letter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

bool begins_with(std::string_view text, std::string_view start) {
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(), same_letter);
}

std::vector<std::string> option_names(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* owner = &app; owner != nullptr; owner = owner->get_parent()) {
    for (const CLI::Option* option : owner->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::vector<std::string> setting_names() {
  std::vector<std::string> names;
  for (const Setting& setting : settings()) names.emplace_back(setting.name);
  for (const Setting& setting : settings()) {
    if (setting.alias != setting.name) names.emplace_back(setting.alias);
  }
  return names;
}

std::vector<std::string> setting_words(const std::string& name) {
  std::vector<std::string> words;
  const Setting* setting = find_setting(name);
  for (uint32_t i = 0; setting != nullptr && i < setting->words.size(); i++) {
    words.push_back(setting_text(*setting, i));
  }
  return words;
}

// What may stand behind a command's name and the words that follow it.
std::vector<std::string> argument_words(const std::string& command,
                                        const std::vector<std::string>& before) {
  if (command == "get" || (command == "set" && before.empty())) return setting_names();
  if (command == "set" && before.size() == 1) return setting_words(before[0]);
  if (command == "mode" && before.empty()) return {"photo", "video"};
  return {};
}

const CLI::App* subcommand(const CLI::App& app, const std::string& name) {
  for (const CLI::App* sub : app.get_subcommands({})) {
    if (sub->get_name() == name) return sub;
  }
  return nullptr;
}

std::vector<std::string> candidates(const CLI::App& root, const std::vector<std::string>& before,
                                    bool option) {
  const CLI::App* app = &root;
  std::vector<std::string> arguments;
  for (const std::string& word : before) {
    const CLI::App* next = subcommand(*app, word);
    if (next != nullptr) {
      app = next;
    } else if (!word.starts_with('-')) {
      arguments.push_back(word);
    }
  }
  if (option) return option_names(*app);
  std::vector<std::string> words = argument_words(app->get_name(), arguments);
  for (const CLI::App* sub : app->get_subcommands({})) words.push_back(sub->get_name());
  if (app == &root) words.insert(words.end(), {"help", "quit"});
  return words;
}

}  // namespace

std::vector<std::string> completions(std::string_view line) {
  CLI::App root;
  Action unused;
  add_camera_commands(root, &unused);
  root.add_flag("--json");
  root.add_option("--timeout");
  std::istringstream stream{std::string(line)};
  std::vector<std::string> before{std::istream_iterator<std::string>(stream), {}};
  std::string last;
  if (!before.empty() && line.back() != ' ') {
    last = before.back();
    before.pop_back();
  }
  std::vector<std::string> words = candidates(root, before, last.starts_with('-'));
  std::erase_if(words, [&](const std::string& word) { return !begins_with(word, last); });
  return words;
}

}  // namespace groundstation
