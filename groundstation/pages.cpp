// Writes the manual pages and the completion files of groundstation, from its table of commands.
//   groundstation_pages CHANGELOG FOLDER
// The date of the pages is that of the newest version in the changelog.
#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "groundstation/messages/setting_table.h"
#include "groundstation/shell/program.h"
#include "groundstation/usage/completion_files.h"
#include "groundstation/usage/manual.h"

namespace {

using groundstation::kProgramName;

// "2026-11-21" of "## [1.2.0] - 2026-11-21"; nothing when no version has one.
std::string newest_date(const std::string& changelog) {
  constexpr size_t kDateLength = 10;
  std::ifstream lines(changelog);
  for (std::string line; std::getline(lines, line);) {
    const size_t dash = line.rfind(" - ");
    if (line.starts_with("## [") && dash != std::string::npos) {
      return line.substr(dash + 3, kDateLength);
    }
  }
  return "";
}

void write(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file.exceptions(std::ios::failbit | std::ios::badbit);
  file << text;
  file.close();
}

std::vector<groundstation::WordsBehind> setting_values() {
  std::vector<groundstation::WordsBehind> all;
  for (const groundstation::Setting& setting : groundstation::settings()) {
    for (const std::string_view name : {setting.name, setting.alias}) {
      std::vector<std::string> words = groundstation::setting_words(setting);
      const bool twice = !all.empty() && all.back().word == name;
      if (!words.empty() && !twice) all.push_back({"set", std::string(name), std::move(words)});
    }
  }
  return all;
}

void write_all(const std::string& changelog, const std::filesystem::path& folder) {
  groundstation::ProgramOptions options;
  groundstation::Action action;
  CLI::App app;
  build_program(app, &options, &action);
  const groundstation::CommandRow table = groundstation::command_table(app);
  const std::string version = fmt::format("{} {}", kProgramName, HOUSE_VERSION);
  for (const groundstation::ManualPage& page :
       manual_pages(table, kProgramName, version, newest_date(changelog))) {
    write(folder / "man/man1" / (page.name + ".1"), page.text);
  }
  const std::vector<groundstation::WordsBehind> behind = setting_values();
  write(folder / "bash-completion/completions" / kProgramName,
        bash_completion(table, kProgramName, behind));
  write(folder / "zsh/site-functions" / (std::string("_") + kProgramName),
        zsh_completion(table, kProgramName, behind));
  write(folder / "fish/vendor_completions.d" / (std::string(kProgramName) + ".fish"),
        fish_completion(table, kProgramName, behind));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fmt::print(stderr, "groundstation_pages: CHANGELOG and FOLDER are missing\n");
    return 2;
  }
  try {
    write_all(argv[1], argv[2]);
  } catch (const std::exception& error) {
    fmt::print(stderr, "groundstation_pages: {}\n", error.what());
    return 1;
  }
  return 0;
}
