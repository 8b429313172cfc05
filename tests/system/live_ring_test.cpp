// Video entries that the encoder's ring makes special: what of them reaches the peer, and what
// comes before and after it.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fifo_log.h"
#include "live_video.h"

namespace {

using namespace support;  // NOLINT

// The datagrams of these entries, one entry behind the other and nothing in between.
using Train = std::vector<Bytes>;
std::optional<Train> find_train(const PeerSocket& video, size_t from,
                                const std::vector<AddedVideo>& entries) {
  std::vector<size_t> sizes;
  for (const AddedVideo& entry : entries) {
    for (const size_t size : datagram_sizes(entry)) sizes.push_back(size);
  }
  const auto all = video.received();
  const auto found = std::search(
      all.begin() + static_cast<std::ptrdiff_t>(from), all.end(), sizes.begin(), sizes.end(),
      [](const Datagram& datagram, size_t size) { return datagram.bytes.size() == size; });
  if (found == all.end()) return {};
  Train train;
  for (size_t i = 0; i < sizes.size(); i++)
    train.push_back(found[static_cast<std::ptrdiff_t>(i)].bytes);
  return train;
}

// An entry of that size with something odd about it, the entries around it, and a datagram before
// theirs.
struct Odd {
  AddedVideo before, entry, after;
  size_t from;
};

// Makes such entries until one leaves as it should: a piece may be dropped on the way when the
// machine is busy, and the ring may have no room for a wrap.
Odd make_odd(const PeerSocket& video, const std::string& action, size_t size,
             const std::function<bool(const Odd&)>& as_it_should) {
  Odd odd{};
  const std::string sized = " size=" + std::to_string(size) + " ";
  for (int tries = 0; tries < 10; tries++) {
    const auto last = last_added_video(read_file(RunningMaintask::kFifoLog), sized);
    odd.from = std::max<size_t>(video.count(), 10) - 10;  // the entry before may have left
    // One message, so that both lines meet the same entry.
    RunningMaintask::fifo({action + "\nvideo-size", std::to_string(size)});
    const bool made = poll_until(
        [&] {
          const std::string log = read_file(RunningMaintask::kFifoLog);
          const auto entry = last_added_video(log, sized);
          if (!entry || (last && last->number == entry->number)) return false;
          const auto numbered = [&log](unsigned long long number) {
            return last_added_video(log, " added video " + std::to_string(number) + " ");
          };
          const auto before = numbered(entry->number - 1);
          const auto after = numbered(entry->number + 1);
          if (before && after) odd = {*before, *entry, *after, odd.from};
          return before && after;
        },
        seconds(5));
    if (made && poll_until([&] { return as_it_should(odd); }, seconds(1))) break;
  }
  return odd;
}

TEST_F(LiveVideo, APieceThatWrapsLeavesAsTwo) {
  std::optional<Train> train;
  const std::vector<size_t> halves{15001, 15000};
  const Odd odd = make_odd(*video, "wrap", 30001, [&](const Odd& made) {
    if (datagram_sizes(made.entry) != halves) return false;
    train = find_train(*video, made.from, {made.before, made.entry, made.after});
    return train.has_value();
  });
  ASSERT_TRUE(train);
  // The tail first, then the rest from the ring's start: a picture of the stream, cut or filled up
  // with zeros.
  const auto first =
      train->begin() + static_cast<std::ptrdiff_t>(datagram_sizes(odd.before).size());
  std::string picture(first->begin(), first->end());
  picture.append(first[1].begin(), first[1].end());
  picture.resize(picture.find_last_not_of('\0') + 1);
  EXPECT_GT(picture.size(), 1000U);
  EXPECT_NE(read_file(LIB_DIR "/ambanetfifo/live.h264").find(picture), std::string::npos);
}

TEST_F(LiveVideo, AnEntryOutsideItsRingIsDroppedAndTheNextOneSent) {
  const std::pair<const char*, size_t> rows[] = {
      {"outside", 30001},
      {"outside-before", 30001},
      {"outside-null", 30001},
      {"", 16000000},  // claimed; the ring holds 1 MiB
  };
  for (const auto& [action, size] : rows) {
    bool skipped = false;
    const Odd odd = make_odd(*video, action, size, [&skipped](const Odd& made) {
      skipped = find_train(*video, made.from, {made.before, made.after}).has_value();
      return skipped;
    });
    EXPECT_TRUE(skipped) << action;
    const std::string removed = " remove video " + std::to_string(odd.entry.number) + " ";
    EXPECT_EQ(RunningMaintask::fifo_log_count(removed), 1U) << action;
  }
}

}  // namespace
