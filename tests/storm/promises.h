// What must hold of a board once trouble has ended, whatever the trouble was. Each promise is
// checked within fixed limits (stretched under a sanitizer); the first that is broken is named, with
// the reason.
//
//  serves            heartbeat and status come; a recording or time-lapse that still runs can be
//                    stopped; the mode can be set; a setting is set and confirmed; the clock is
//                    answered; a photo is taken, tagged, downloaded byte by byte as it lies on the
//                    card; the lists are what is in the folders; live video decodes.
//  tells the truth   the status record's settings are what the service last confirmed to this
//                    program (a program that was started again begins with its defaults and what
//                    its own file says); its mode is the camera's; the camera's clock is one that it
//                    was given. Every datagram on the link is one good frame.
//  loses nothing     every photo that the service wrote is there under one name or another with the
//                    same picture, every recording of more than 1 MiB with its size, unless a
//                    client deleted it or the card was formatted; AmbaSysFW.bin is the old or the
//                    new image, whole; a file that is not the camera's is untouched.
//  stays small       threads and descriptors as after the start; memory within a limit.
//  lets nobody in    the input filter is open; no file outside the card has changed, and on the card
//                    there is nothing but what belongs there.
//
// What the interface itself lets go: a recording that its service was killed in, or whose answer no
// one heard, is the service's (it never said that the file was complete); the camera's mode after a
// lost answer to a switch (see Story::mode_known); a time-lapse whose program ended (nobody but that
// program can stop it). These two are then brought together by hand, as somebody would who holds the
// aircraft. A photo in the card's slot when the card went keeps its old name and may be untagged.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "storm/board_rig.h"

namespace storm {

struct Broken {
  std::string promise;
  std::string why;
};

struct PromiseOptions {
  uint32_t salt = 0;         // chooses the values that are set
  int64_t memory_limit = 0;  // of anonymous memory in KB; 0: not judged
};

// Nothing when all hold. What the test support finds on the way (EXPECT) is a broken promise, too.
// The board goes on; a program that has ended is not started again.
[[nodiscard]] std::optional<Broken> check_promises(Board& board, const PromiseOptions& options);

// The parts, in their order. Each returns why it is broken; empty when it is kept.
std::string comes_back(Board& board);
std::string comes_to_rest(Board& board);
std::string shows_confirmed_settings(Board& board);
std::string takes_a_setting(Board& board, uint32_t salt);
std::string takes_the_clock(Board& board, uint32_t salt);
std::string takes_a_photo(Board& board, uint32_t salt, std::string* name);
std::string gives_the_photo(Board& board, const std::string& name);
std::string lists_the_folders(Board& board);
std::string shows_live_video(Board& board, size_t from);
std::string keeps_what_was_written(Board& board);
std::string keeps_firmware_whole(Board& board);
std::string stays_small(Board& board, int64_t memory_limit);
std::string lets_nobody_in(Board& board);

// The clock message for that time (seconds since the epoch), noted in board.clocks.
void send_clock(Board& board, int64_t when);
// The checksum of a photo's picture, as the service prints it.
std::string picture_of(const std::string& path);

}  // namespace storm
