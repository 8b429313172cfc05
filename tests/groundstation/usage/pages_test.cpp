// Help, manual pages and completion files against the table of commands they are made of, and in the
// programs that read them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "groundstation/messages/setting_table.h"
#include "groundstation/run_program.h"
#include "groundstation/shell/program.h"
#include "groundstation/usage/command_table.h"
#include "groundstation/usage/help.h"
#include "support/child_process.h"

namespace groundstation_test {
namespace {

using groundstation::CommandRow;
using groundstation::OptionRow;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;

const std::string kShare = LIB_DIR "/../share/";

const CommandRow& table() {
  static const CommandRow root = [] {
    groundstation::ProgramOptions options;
    groundstation::Action action;
    CLI::App app;
    build_program(app, &options, &action);
    return groundstation::command_table(app);
  }();
  return root;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(Help, OfEveryCommandFits80ColumnsAndNamesEveryOption) {
  for (const CommandRow* row : every_command(table())) {
    const std::string help = help_text(*row, "groundstation");
    for (const std::string& line : lines_of(help)) {
      EXPECT_LE(line.size(), 80U) << row->path << ": " << line;
    }
    for (const OptionRow& option : row->options) {
      for (const std::string& name : option.names) EXPECT_THAT(help, HasSubstr(name)) << row->path;
    }
    for (const CommandRow& command : row->commands) {
      EXPECT_THAT(help, HasSubstr("\n  " + command.name)) << row->path;
    }
    EXPECT_FALSE(row->summary().empty()) << row->path;
    // The program shows just that.
    const ProgramResult shown = run_program(row->path + " --help");
    EXPECT_EQ(shown.exit_code, 0) << row->path;
    EXPECT_EQ(shown.out, help) << row->path;
  }
}

TEST(Help, HelpAndACommandsNameIsTheSame) {
  EXPECT_EQ(run_program("help media get").out, run_program("media get --help").out);
  EXPECT_EQ(run_program("help").out, run_program("--help").out);
  expect_failure(run_program("help media gett"), 2, "there is no command gett; did you mean get?");
}

TEST(Help, ParagraphsAreFilledAndOtherLinesStandAsTheyAre) {
  EXPECT_EQ(groundstation::wrapped("one two\nthree\n\n  as it is\nfour", 2, 9),
            "  one two\n  three\n\n    as it is\n  four\n");
}

// "--drop-every" as a manual page has it.
std::string dashed(const std::string& name) {
  std::string text;
  for (const char c : name) text += c == '-' ? "\\-" : std::string(1, c);
  return text;
}

TEST(Manual, PagesHaveEveryCommandAndOption) {
  const std::string folder = kShare + "man/man1/";
  const std::string main = read_file(folder + "groundstation.1");
  for (const CommandRow& command : table().commands) {
    EXPECT_THAT(main, HasSubstr("\n.B " + dashed(command.name) + "\n"));
    const std::string page = read_file(folder + "groundstation-" + command.name + ".1");
    for (const CommandRow* row : every_command(command)) {
      EXPECT_THAT(page, HasSubstr(dashed("groundstation " + row->path))) << row->path;
      for (const OptionRow& option : row->options) {
        EXPECT_THAT(page, HasSubstr("\n.B " + dashed(option.heading()) + "\n")) << row->path;
      }
    }
  }
  for (const OptionRow& option : table().options) {
    EXPECT_THAT(main, HasSubstr("\n.B " + dashed(option.heading()) + "\n"));
  }
}

TEST(Manual, PagesAreWithoutFault) {
  size_t pages = 0;
  for (const auto& page : std::filesystem::directory_iterator(kShare + "man/man1")) {
    pages++;
    const std::string path = page.path().string();
    const support::CommandResult lint =
        support::run_command({"mandoc", "-T", "lint", "-W", "warning", path}, support::seconds(60));
    EXPECT_EQ(lint.status, 0) << lint.output;
    EXPECT_EQ(lint.output, "") << path;
  }
  EXPECT_EQ(pages, table().commands.size() + 1);
  const support::CommandResult shown = support::run_command(
      {"mandoc", "-T", "ascii", kShare + "man/man1/groundstation-photo.1"}, support::seconds(60));
  EXPECT_THAT(shown.output, HasSubstr("groundstation-photo - Take a photo"));
}

// Every name stands in the file, quoted or not.
void expect_names(const std::string& text, const std::string& option_prefix) {
  for (const CommandRow* row : every_command(table())) {
    EXPECT_THAT(text, HasSubstr(row->path));
    for (const OptionRow& option : row->options) {
      for (const std::string& name : option.names) {
        const bool is_long = name.starts_with("--");
        const std::string word = option_prefix.empty()
                                     ? name
                                     : (is_long ? " -l " : " -s ") + name.substr(is_long ? 2 : 1);
        EXPECT_THAT(text, HasSubstr(word)) << row->path;
      }
    }
  }
  for (const groundstation::Setting& setting : groundstation::settings()) {
    EXPECT_THAT(text, HasSubstr(std::string(setting.name)));
    for (const std::string& word : setting_words(setting)) EXPECT_THAT(text, HasSubstr(word));
  }
}

const std::string kBash = kShare + "bash-completion/completions/groundstation";
const std::string kZsh = kShare + "zsh/site-functions/_groundstation";
const std::string kFish = kShare + "fish/vendor_completions.d/groundstation.fish";

TEST(CompletionFiles, HaveEveryCommandOptionAndValue) {
  expect_names(read_file(kBash), "");
  expect_names(read_file(kZsh), "");
  expect_names(read_file(kFish), "-l");
}

std::vector<std::string> words_from(const std::vector<std::string>& command) {
  const support::CommandResult run = support::run_command(command, support::seconds(60));
  EXPECT_EQ(run.status, 0) << run.output;
  return lines_of(run.output);
}

// What bash offers for the last of the words.
std::vector<std::string> bash_offers(const std::string& words) {
  return words_from({"bash", "-c",
                     "source " + kBash + " && COMP_WORDS=(groundstation " + words +
                         ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _groundstation && "
                         "printf '%s\\n' \"${COMPREPLY[@]}\""});
}

TEST(CompletionFiles, WorkInBash) {
  EXPECT_THAT(bash_offers("''"), IsSupersetOf({"status", "photo", "media", "shell"}));
  EXPECT_THAT(bash_offers("ph"), ElementsAre("photo"));
  EXPECT_THAT(bash_offers("timelapse ''"), ElementsAre("start", "stop"));
  EXPECT_THAT(bash_offers("photo --mod"), ElementsAre("--mode"));
  EXPECT_THAT(bash_offers("photo --mode P"), ElementsAre("PR", "PW", "PV", "PH"));
  EXPECT_THAT(bash_offers("set white_b"), ElementsAre("white_balance"));
  EXPECT_THAT(bash_offers("set white_balance C"), ElementsAre("Cloudy"));
  EXPECT_THAT(bash_offers("--json mode v"), ElementsAre("video"));
  EXPECT_THAT(bash_offers("telemetry /etc/host"), Contains("/etc/hosts"));
  EXPECT_THAT(bash_offers("params --js"), ElementsAre("--json"));
}

TEST(CompletionFiles, WorkInFish) {
  const auto offers = [](const std::string& line) {
    std::vector<std::string> words = words_from(
        {"fish", "--no-config", "-c", "source " + kFish + "; complete -C '" + line + "'"});
    for (std::string& word : words) word = word.substr(0, word.find('\t'));
    return words;
  };
  EXPECT_THAT(offers("groundstation ph"), ElementsAre("photo"));
  EXPECT_THAT(offers("groundstation timelapse st"), ElementsAre("start", "stop"));
  EXPECT_THAT(offers("groundstation photo --mo"), ElementsAre("--mode"));
  EXPECT_THAT(offers("groundstation set white_balance Cl"), ElementsAre("Cloudy"));
}

// zsh completes on a terminal of its own only; its functions are read, and called with stand-ins for
// those of the completion system.
TEST(CompletionFiles, WorkInZsh) {
  const auto offers = [](const std::string& words) {
    return words_from({"zsh", "-f", "-c",
                       "compadd() { shift; print -l -- $@; }; _files() { print files; }\n"
                       "_describe() { print -l -- ${entries%%:*}; }\n"
                       "f() { local -a words=(groundstation " +
                           words + "); local CURRENT=$#words; source " + kZsh + "; }; f"});
  };
  EXPECT_THAT(offers("''"), IsSupersetOf({"status", "photo", "media", "shell"}));
  EXPECT_THAT(offers("timelapse ''"), ElementsAre("start", "stop"));
  EXPECT_THAT(offers("photo --m"), AllOf(Contains("--mode"), Contains("--json")));
  EXPECT_THAT(offers("photo --mode ''"), ElementsAre("PR", "PW", "PV", "PH"));
  EXPECT_THAT(offers("set white_balance ''"), ElementsAre("Auto", "Day", "Cloudy"));
  EXPECT_THAT(offers("telemetry ''"), ElementsAre("files"));
}

}  // namespace
}  // namespace groundstation_test
