// A video player of this machine that shows the live video: ffplay or mpv, told to hold nothing back.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/descriptor.h"

namespace groundstation {

// Main thread only.
class LivePlayer {
 public:
  LivePlayer() = default;
  LivePlayer(const LivePlayer&) = delete;
  LivePlayer& operator=(const LivePlayer&) = delete;
  // Ends the player, which has a moment to do so by itself.
  ~LivePlayer();

  // Starts the first one that is installed. Returns an empty text, or why it cannot be done.
  [[nodiscard]] std::string start();
  [[nodiscard]] bool running() const { return input_.open(); }

  // Hands over a picture without waiting. One that is too slow misses pictures up to the next `key`
  // one, rather than fall behind. False: the player has ended.
  [[nodiscard]] bool show(std::span<const uint8_t> bytes, bool key);

  [[nodiscard]] const std::string& name() const { return name_; }
  // Pictures that it missed so.
  [[nodiscard]] uint64_t skipped() const { return skipped_; }
  // Ends the video for it and waits for its end. Its exit status; -1 when a signal ended it.
  int finish();

 private:
  [[nodiscard]] bool flush();
  [[nodiscard]] bool ended_within(uint64_t us);

  std::string name_;
  pid_t child_ = 0;  // 0: none
  int status_ = 0;
  base::Descriptor input_;
  std::vector<uint8_t> waiting_;  // the rest of a picture that the pipe had no room for
  bool needs_key_ = false;
  uint64_t skipped_ = 0;
};

// The words with which a player is started; the video comes on its standard input.
[[nodiscard]] std::vector<std::vector<std::string>> player_commands();

}  // namespace groundstation
