#include "groundstation/shell/completion.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <system_error>

#include "groundstation/media/messages.h"
#include "groundstation/messages/setting_table.h"
#include "groundstation/messages/whole_number.h"
#include "groundstation/shell/shell.h"
#include "groundstation/usage/command_table.h"
#include "groundstation/usage/values.h"

namespace groundstation {
namespace {

bool same_letter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

bool begins_with(std::string_view text, std::string_view start) {
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(), same_letter);
}

// What a line says so far.
struct Place {
  const CommandRow* row = nullptr;
  const OptionRow* open = nullptr;     // the option whose value stands next
  std::vector<std::string> arguments;  // those that are complete
  uint16_t media_port = kMediaPort;
};

// Those of the command, and of all above it.
const OptionRow* find_option(const CommandRow& root, const CommandRow& row,
                             const std::string& name) {
  for (const CommandRow* owner : every_command(root)) {
    const bool above = owner == &row || row.path.starts_with(owner->path + " ") || owner == &root;
    if (!above) continue;
    for (const OptionRow& option : owner->options) {
      const auto& names = option.names;
      if (std::find(names.begin(), names.end(), name) != names.end()) return &option;
    }
  }
  return nullptr;
}

Place place_of(const CommandRow& root, const std::vector<std::string>& before) {
  Place place;
  place.row = &root;
  for (const std::string& word : before) {
    if (place.open != nullptr) {
      const bool port = place.open->names.back() == "--port";
      if (port) place.media_port = whole_number<uint16_t>(word).value_or(kMediaPort);
      place.open = nullptr;
      continue;
    }
    const std::string path = place.row->path.empty() ? word : place.row->path + " " + word;
    const CommandRow* next = find_command(*place.row, path);
    if (next != nullptr && next != place.row && place.arguments.empty()) {
      place.row = next;
    } else if (!word.starts_with('-')) {
      place.arguments.push_back(word);
    } else if (const OptionRow* option = find_option(root, *place.row, word);
               option != nullptr && !option->value.empty()) {
      place.open = option;
    }
  }
  return place;
}

// What the folder of the word holds; folders end with a slash.
std::vector<std::string> local_files(const std::string& word) {
  const std::string folder = word.substr(0, word.rfind('/') + 1);
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder.empty() ? "." : folder, error), end;
       !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const bool hidden = name.starts_with('.') && !word.substr(folder.size()).starts_with('.');
    std::error_code unknown;
    if (!hidden) names.push_back(folder + name + (entry->is_directory(unknown) ? "/" : ""));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> value_words(const OptionRow& option, const Place& place,
                                     const std::string& last, const CardNames& card) {
  if (option.value == kFileValue) return local_files(last);
  if (option.value == kCardValue && card) return card(place.media_port);
  return option.choices;
}

std::vector<std::string> argument_words(const Place& place, const std::string& last,
                                        const CardNames& card) {
  const std::vector<OptionRow>& rows = place.row->arguments;
  if (rows.empty()) return {};
  const size_t index = std::min(place.arguments.size(), rows.size() - 1);
  if (place.arguments.size() > index && !rows[index].repeated) return {};
  if (place.row->path == "set" && index == 1) {
    const Setting* setting = find_setting(place.arguments[0]);
    return setting == nullptr ? std::vector<std::string>() : setting_words(*setting);
  }
  return value_words(rows[index], place, last, card);
}

std::vector<std::string> candidates(const CommandRow& root, const Place& place,
                                    const std::string& last, const CardNames& card) {
  if (place.open != nullptr) return value_words(*place.open, place, last, card);
  if (last.starts_with('-')) {
    std::vector<std::string> names;
    for (const CommandRow* owner : every_command(root)) {
      const bool above =
          owner == &root || owner == place.row || place.row->path.starts_with(owner->path + " ");
      const std::vector<std::string> own =
          above ? option_names(*owner) : std::vector<std::string>();
      std::copy_if(own.begin(), own.end(), std::back_inserter(names), [&](const auto& name) {
        return name.starts_with("--") && std::find(names.begin(), names.end(), name) == names.end();
      });
    }
    return names;
  }
  // "help media get": the names of commands, below those that are there.
  const CommandRow* named = place.row;
  if (place.row->path == "help") {
    const std::string path = [&] {
      std::string text;
      for (const std::string& word : place.arguments) text += (text.empty() ? "" : " ") + word;
      return text;
    }();
    named = find_command(root, path);
    return named == nullptr ? std::vector<std::string>() : command_names(*named);
  }
  std::vector<std::string> words = argument_words(place, last, card);
  for (const std::string& name : command_names(*named)) words.push_back(name);
  if (place.row == &root) words.emplace_back("quit");
  return words;
}

}  // namespace

bool is_pattern(std::string_view word) {
  return word.find_first_of("*?[") != std::string_view::npos;
}

std::vector<std::string> completions(std::string_view line, const CardNames& card) {
  ShellLine parsed;
  const CommandRow root = command_table(parsed.app);
  std::istringstream stream{std::string(line)};
  std::vector<std::string> before{std::istream_iterator<std::string>(stream), {}};
  std::string last;
  if (!before.empty() && line.back() != ' ') {
    last = before.back();
    before.pop_back();
  }
  std::vector<std::string> words = candidates(root, place_of(root, before), last, card);
  std::erase_if(words, [&](const std::string& word) {
    return is_pattern(last) ? ::fnmatch(last.c_str(), word.c_str(), 0) != 0
                            : !begins_with(word, last);
  });
  return words;
}

}  // namespace groundstation
