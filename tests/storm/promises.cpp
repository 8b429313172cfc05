#include "storm/promises.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace storm {
namespace {

constexpr const char* kTruth = "tells the truth";

struct Check {
  const char* promise;
  const char* name;
  std::function<std::string()> run;
};

std::optional<Broken> first_broken(Board& board, const PromiseOptions& options) {
  const size_t video_from = board.video().count();
  std::string photo;
  const Check checks[] = {
      {"serves", "comes back", [&] { return comes_back(board); }},
      {"serves", "comes to rest", [&] { return comes_to_rest(board); }},
      {kTruth, "settings", [&] { return shows_confirmed_settings(board); }},
      {"serves", "setting", [&] { return takes_a_setting(board, options.salt); }},
      {"serves", "clock", [&] { return takes_the_clock(board, options.salt); }},
      {"serves", "photo", [&] { return takes_a_photo(board, options.salt, &photo); }},
      {"serves", "lists", [&] { return lists_the_folders(board); }},
      {"serves", "download", [&] { return gives_the_photo(board, photo); }},
      {"serves", "live video", [&] { return shows_live_video(board, video_from); }},
      {"loses nothing", "media", [&] { return keeps_what_was_written(board); }},
      {"loses nothing", "firmware", [&] { return keeps_firmware_whole(board); }},
      {"lets nobody in", "filter and files", [&] { return lets_nobody_in(board); }},
      {"stays small", "footprint", [&] { return stays_small(board, options.memory_limit); }},
  };
  for (const Check& check : checks) {
    board.note(std::string("check: ") + check.name);
    std::string why = check.run();
    if (why.empty() && board.program_runs()) continue;
    if (!board.program_runs()) why = "the program has ended; " + why;
    return Broken{check.promise, std::string(check.name) + ": " + why};
  }
  return std::nullopt;
}

}  // namespace

std::optional<Broken> check_promises(Board& board, const PromiseOptions& options) {
  testing::TestPartResultArray found;
  std::optional<Broken> broken;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &found);
    broken = first_broken(board, options);
  }
  for (int i = 0; !broken && i < found.size(); i++) {
    if (found.GetTestPartResult(i).failed()) {
      broken = Broken{kTruth, found.GetTestPartResult(i).message()};
    }
  }
  return broken;
}

}  // namespace storm
