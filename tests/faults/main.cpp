// Lets every call of the program fail once: see --help.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

#include "faults/player.h"

namespace faults_test {
namespace {

constexpr const char* kHelp = R"(Usage: tools/faults [OPTION]... [ROAD...]

Lets one call of the program fail: the first of its kind on a road, then the second, and so on until the
road runs through without reaching it; and once more, with the process ended by SIGKILL in place of the
call. After each the process, or the next start, has to serve, and no file is lost. Without a ROAD:
all of them.

  --kind KIND    only calls of this kind (may be given again)
  --call N       only call number N
  --every N      only every N-th call
  --error NAME   this error in place of what fits the call
  --kill         only ends by SIGKILL
  --no-kill      no end by SIGKILL
  --list         prints the roads, kinds and errors
  --help         prints this text

With FAULTS_VERBOSE in the environment every event is printed. Logs of what is broken: build/release/faults/. Status 1 with any.
)";

const std::map<std::string, int> kErrors{
    {"ENOSPC", ENOSPC}, {"EIO", EIO},       {"EROFS", EROFS},    {"ENOMEM", ENOMEM},
    {"EMFILE", EMFILE}, {"EAGAIN", EAGAIN}, {"EINTR", EINTR},    {"ENETUNREACH", ENETUNREACH},
    {"EACCES", EACCES}, {"EPIPE", EPIPE},   {"ENOBUFS", ENOBUFS}};

struct Options {
  std::vector<std::string> roads;
  std::vector<faults::Kind> kinds;
  uint32_t call = 0;
  uint32_t every = 1;
  int error = 0;
  bool only_checks = false;  // whether the words are right
  bool errors = true;
  bool kills = true;
};

std::vector<Road> all_roads() {
  std::vector<Road> all;
  for (auto& some :
       {start_roads(), camera_roads(), media_roads(), flight_roads(), application_roads()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

void print_list() {
  std::printf("roads: ");
  for (const Road& road : all_roads()) std::printf(" %s", road.name.c_str());
  std::printf("\nkinds: ");
  for (const auto kind : faults::kKindNames) std::printf(" %s", std::string(kind).c_str());
  std::printf("\nerrors:");
  for (const auto& [name, number] : kErrors) std::printf(" %s", name.c_str());
  std::printf("\n");
}

[[noreturn]] void refuse(const char* why, const std::string& word) {
  std::fprintf(stderr, "faults: %s '%s'; see --help and --list\n", why, word.c_str());
  std::exit(2);
}

Options parse(int count, char** words) {
  Options options;
  for (int i = 1; i < count; i++) {
    const std::string word = words[i];
    const auto value = [&] {
      if (++i >= count) refuse("a value is missing behind", word);
      return std::string(words[i]);
    };
    if (word == "--help" || word == "-h") {
      std::fputs(kHelp, stdout);
      std::exit(0);
    } else if (word == "--list") {
      print_list();
      std::exit(0);
    } else if (word == "--kind") {
      const std::string name = value();
      const auto kind = faults::kind_of(name);
      if (!kind) refuse("there is no kind", name);
      options.kinds.push_back(*kind);
    } else if (word == "--call") {
      const std::string number = value();
      options.call = static_cast<uint32_t>(std::strtoul(number.c_str(), nullptr, 10));
      if (options.call == 0) refuse("there is no call", number);
    } else if (word == "--every") {
      const std::string number = value();
      options.every = static_cast<uint32_t>(std::strtoul(number.c_str(), nullptr, 10));
      if (options.every == 0) refuse("not every", number);
    } else if (word == "--error") {
      const std::string name = value();
      const auto found = kErrors.find(name);
      if (found == kErrors.end()) refuse("there is no error", name);
      options.error = found->second;
    } else if (word == "--kill") {
      options.errors = false;
    } else if (word == "--no-kill") {
      options.kills = false;
    } else if (word == "--check") {
      options.only_checks = true;
    } else if (word.starts_with("-")) {
      refuse("there is no option", word);
    } else {
      options.roads.push_back(word);
    }
  }
  if (options.kinds.empty()) {
    for (uint32_t kind = 0; kind < faults::kKinds; kind++) {
      options.kinds.push_back(static_cast<faults::Kind>(kind));
    }
  }
  return options;
}

// One board for all roads, made by the first test.
Rig& rig() {
  static auto* board = new Rig;
  return *board;
}

class Case : public ::testing::Test {
 public:
  Case(Road road, Wanted wanted) : road_(std::move(road)), wanted_(wanted) {}
  void TestBody() override {
    const auto began = support::Clock::now();
    const Tally tally = play(rig(), road_, wanted_);
    const std::chrono::duration<double> took = support::Clock::now() - began;
    const std::string kind(faults::kKindNames[wanted_.kind]);
    std::printf("%-12s %-7s %-6s %5u calls %5u hit %3u broken %3u ended %7.1f s\n",
                road_.name.c_str(), kind.c_str(), wanted_.mode == faults::kKill ? "kill" : "error",
                tally.calls, tally.played, tally.broken, tally.ended, took.count());
    std::fflush(stdout);
  }

 private:
  Road road_;
  Wanted wanted_;
};

void add_case(const Road& road, const Wanted& wanted) {
  const std::string name = std::string(faults::kKindNames[wanted.kind]) +
                           (wanted.mode == faults::kKill ? "Kill" : "Error");
  ::testing::RegisterTest(road.name.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [=]() -> ::testing::Test* { return new Case(road, wanted); });
}

// Says what failed as it happens, and nothing else: the cases print their own lines.
class Reporter : public ::testing::EmptyTestEventListener {
  void OnTestPartResult(const ::testing::TestPartResult& result) override {
    if (!result.failed()) return;
    std::printf("BROKEN %s\n", result.message());
    std::fflush(stdout);
  }
};

}  // namespace
}  // namespace faults_test

int main(int count, char** words) {
  using namespace faults_test;  // NOLINT
  ::testing::InitGoogleTest(&count, words);
  const Options options = parse(count, words);
  const std::vector<Road> roads = all_roads();
  for (const std::string& name : options.roads) {
    if (std::ranges::none_of(roads, [&](const Road& road) { return road.name == name; })) {
      refuse("there is no road", name);
    }
  }
  if (options.only_checks) return 0;
  for (const Road& road : roads) {
    if (!options.roads.empty() &&
        std::ranges::find(options.roads, road.name) == options.roads.end()) {
      continue;
    }
    for (const faults::Kind kind : options.kinds) {
      for (const faults::Mode mode : {faults::kFail, faults::kKill}) {
        if (mode == faults::kFail ? options.errors : options.kills) {
          add_case(road, {kind, mode, options.error, options.call, options.every});
        }
      }
    }
  }
  auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  listeners.Append(new Reporter);
  return RUN_ALL_TESTS();
}
