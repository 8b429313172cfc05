// storm: rounds of random trouble on a virtual board, and after each the promises. Runs inside a
// board; tools/storm builds and starts it. See --help.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "storm/promises.h"
#include "storm/trouble.h"

namespace {

using namespace storm;  // NOLINT

struct Options {
  uint64_t seed = 1;
  uint64_t rounds = 0;
  std::optional<uint64_t> only_round;
  double minutes = 0;
  uint64_t first = 1;
  uint64_t step = 1;
  int strokes = 0;
  bool verbose = false;
  std::string program = "maintask";
  std::string logs = "/tmp/storm";
};

// Memory is judged against a round without trouble, in the release build alone. The C library keeps
// some of what was once needed, so everything that needs much is done there, more than once.
constexpr int64_t kMemoryMarginKb = 1024;
int64_t calm_memory_kb = 0;

std::optional<Broken> play(Board& board, const Options& options, uint64_t round, int64_t* memory) {
  if (!board.ready(seconds(120))) return Broken{"serves", "the board does not come up"};
  Trouble trouble(board, options.seed, round);
  if (round == 0) {
    trouble.warm_up();
  } else {
    trouble.play(options.strokes > 0 ? options.strokes : 6 + static_cast<int>(trouble.salt() % 9));
    trouble.end();
  }
  const bool judged = !support::kSanitized && calm_memory_kb > 0;
  std::optional<Broken> broken;
  for (int i = round == 0 ? 3 : 1; i > 0 && !broken; i--) {
    broken = check_promises(board, {.salt = trouble.salt(),
                                    .memory_limit = judged ? calm_memory_kb + kMemoryMarginKb : 0});
    const auto now = footprint_of(board.program_pid());
    if (now) *memory = std::max(*memory, now->anonymous_kb);
    if (now && options.verbose) std::printf("%lld KB\n", static_cast<long long>(now->anonymous_kb));
  }
  return broken;
}

// False when a promise was broken. Round 0 has no trouble.
bool play_round(const Options& options, uint64_t round) {
  const support::Time began = support::Clock::now();
  testing::TestPartResultArray found;
  std::optional<Broken> broken;
  int64_t memory = 0;
  std::string events;
  size_t photos = 0;
  size_t recordings = 0;
  const std::string logs =
      options.logs + "/" + std::to_string(options.seed) + "-" + std::to_string(round);
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &found);
    {
      Board board({.program = options.program, .environment = {}});
      broken = play(board, options, round, &memory);
      events = board.events();
      photos = board.story().photos().size();
      recordings = board.story().recordings().size();
      board.kill_program();  // what a sanitizer says comes with its end
      for (int i = 0; !broken && i < found.size(); i++) {
        if (found.GetTestPartResult(i).failed()) {
          broken = Broken{"tells the truth", found.GetTestPartResult(i).message()};
        }
      }
      if (broken) board.keep_logs(logs);
    }
  }
  const double took = std::chrono::duration<double>(support::Clock::now() - began).count();
  if (round == 0) calm_memory_kb = memory;
  std::printf("round %llu: %s, %.1f s, %lld KB, %zu photos, %zu recordings\n",
              static_cast<unsigned long long>(round), broken ? "BROKEN" : "kept", took,
              static_cast<long long>(memory), photos, recordings);
  if (options.verbose && !broken) std::printf("%s", events.c_str());
  if (broken) {
    std::printf("%s: %s\nlast events:\n%slogs: %s\nagain: --seed %llu --round %llu\n",
                broken->promise.c_str(), broken->why.c_str(), events.c_str(), logs.c_str(),
                static_cast<unsigned long long>(options.seed),
                static_cast<unsigned long long>(round));
  }
  std::fflush(stdout);
  return !broken;
}

int play_all(const Options& options) {
  if (!play_round(options, 0)) return 1;
  if (options.only_round) return play_round(options, *options.only_round) ? 0 : 1;
  const auto end = support::Clock::now() +
                   std::chrono::milliseconds(static_cast<int64_t>(options.minutes * 60'000));
  uint64_t broken = 0;
  uint64_t played = 0;
  for (uint64_t round = options.first; options.rounds == 0 || round <= options.rounds;
       round += options.step) {
    if (options.minutes > 0 && support::Clock::now() >= end) break;
    played++;
    if (!play_round(options, round)) broken++;
  }
  std::printf("seed %llu: %llu rounds, %llu broken\n",
              static_cast<unsigned long long>(options.seed),
              static_cast<unsigned long long>(played), static_cast<unsigned long long>(broken));
  return broken == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  testing::InitGoogleTest(&argc, argv);
  Options options;
  CLI::App app("Plays rounds of random trouble on this board and checks the promises after each.");
  app.add_option("--seed", options.seed, "Of all that is drawn")->capture_default_str();
  auto* rounds = app.add_option("--rounds", options.rounds, "How many rounds (20)");
  app.add_option("--minutes", options.minutes, "How long, instead of how many rounds")
      ->check(CLI::PositiveNumber)
      ->excludes(rounds);
  app.add_option("--round", options.only_round, "Only that round, as it was")->excludes(rounds);
  app.add_option("--first", options.first, "The first round")->capture_default_str();
  app.add_option("--step", options.step, "From one round to the next")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  app.add_option("--strokes", options.strokes, "Strokes of trouble in a round (6 to 14)");
  app.add_option("--program", options.program, "The program under test")
      ->capture_default_str()
      ->check(CLI::IsMember({"maintask", "applink"}));
  app.add_flag("--verbose", options.verbose, "Print the events of every round");
  app.add_option("--logs", options.logs, "Folder for the logs of broken rounds")
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  if (options.rounds == 0 && options.minutes <= 0) options.rounds = 20;
  try {
    return play_all(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "storm: %s\n", error.what());
    return 2;
  }
}
