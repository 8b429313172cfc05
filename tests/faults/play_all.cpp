#include "faults/play_all.h"

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
  bool promises_once = false;
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
  std::fprintf(stderr, "faults: %s '%s'; see tools/faults --help and --list\n", why, word.c_str());
  std::exit(2);
}

Options parse(const std::vector<std::string>& words) {
  Options options;
  for (size_t i = 0; i < words.size(); i++) {
    const std::string& word = words[i];
    const auto value = [&] {
      if (++i >= words.size()) refuse("a value is missing behind", word);
      return words[i];
    };
    if (word == "--list") {
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
    } else if (word == "--promises-once") {
      options.promises_once = true;
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
    std::printf("%-12s %-7s %-6s %5u calls %5u hit %3u broken %3u ended %3u given %7.1f s\n",
                road_.name.c_str(), kind.c_str(), wanted_.mode == faults::kKill ? "kill" : "error",
                tally.calls, tally.played, tally.broken, tally.ended, tally.given, took.count());
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

// The cases of a road; all promises behind each, or behind the last one only.
void add_road(const Road& road, const Options& options) {
  std::vector<Wanted> cases;
  for (const faults::Kind kind : options.kinds) {
    for (const faults::Mode mode : {faults::kFail, faults::kKill}) {
      if (mode == faults::kFail ? options.errors : options.kills) {
        cases.push_back(
            {kind, mode, options.error, options.call, options.every, !options.promises_once});
      }
    }
  }
  if (!cases.empty()) cases.back().promises = true;
  for (const Wanted& wanted : cases) add_case(road, wanted);
}

}  // namespace

int play_all(int count, char** words, const std::vector<std::vector<std::string>>& suite) {
  ::testing::InitGoogleTest(&count, words);
  std::vector<std::vector<std::string>> runs = suite;
  if (count > 1) runs = {{words + 1, words + count}};
  const std::vector<Road> roads = all_roads();
  for (const auto& run : runs) {
    const Options options = parse(run);
    for (const std::string& name : options.roads) {
      if (std::ranges::none_of(roads, [&](const Road& road) { return road.name == name; })) {
        refuse("there is no road", name);
      }
    }
    if (options.only_checks) return 0;
    for (const Road& road : roads) {
      const bool wanted = std::ranges::find(options.roads, road.name) != options.roads.end();
      if (wanted || options.roads.empty()) add_road(road, options);
    }
  }
  auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  listeners.Append(new Reporter);
  return RUN_ALL_TESTS();
}

}  // namespace faults_test
