// The board on which the calls of a program fail: what runs on every board of the promises, with
// libfaults.so in front of the program, and files that no call may cost.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "faults/page.h"
#include "storm/board_rig.h"
#include "support/temporary_folder.h"

namespace faults_test {

using support::milliseconds;
using support::seconds;

// One owner thread.
class Rig {
 public:
  Rig();
  ~Rig();

  // A board of its own, with a fresh card, for that program. It does not run yet.
  void begin_board(const char* program);
  void end_board() { board_.reset(); }
  [[nodiscard]] bool has_board() const { return board_ != nullptr; }
  storm::Board& board() { return *board_; }
  // Whether a call was hit on it.
  void mark_used() { used_ = true; }
  [[nodiscard]] bool is_used() const { return used_; }

  // Starts the program. Does not wait. A silent peer sends no heartbeats.
  void start(bool silent_peer = false);
  void stop();
  bool runs() { return board_ != nullptr && board_->program_runs(); }
  // Whether it comes to serve: live video flows and the status record knows the card. A limit of
  // what a failing call may take.
  bool serves(milliseconds limit);

  // New sockets of the peer and its application: nothing that came before is in them.
  void renew_sockets(bool silent_peer = false);

  // Waits until the condition holds. Gives up early when it cannot come any more: the program has
  // ended, or a call was hit and a second has passed since.
  bool waits(const std::function<bool()>& condition, milliseconds limit = seconds(15));
  // The next frame that is wanted, from the mark on.
  bool hears(const std::function<bool(const support::Frame&)>& wanted, size_t mark,
             milliseconds limit = seconds(15));
  bool hears_ack(uint16_t command, uint8_t result, size_t mark);
  bool hears_report(float code, size_t mark);

  // What happened; the last ones are told with a failure.
  void note(const std::string& event);

  [[nodiscard]] std::string last_events() const;

  // The word of the first file that is gone or changed, of those that no road may change; empty
  // when none is.
  [[nodiscard]] std::string lost_file() const;

  // Removes everything in a folder but the file that is kept there, as a client would.
  void clear_pictures();
  void clear_videos();

  faults::Page& page() { return *page_; }
  [[nodiscard]] bool struck() const { return page_->struck.load() != 0; }

  support::PeerLink& peer() { return board_->peer(); }
  media_channel::Application& application() { return board_->media(); }

 private:
  support::TemporaryFolder folder_;
  faults::Page* page_;
  std::map<std::string, std::string> kept_;  // path on the card to content
  std::unique_ptr<storm::Board> board_;
  bool used_ = false;
};

inline const std::string kCard = "/tmp/SD0/";
inline constexpr const char* kKeptPhoto = "20200101_120000AB.JPG";
inline constexpr const char* kKeptVideo = "20200101_120000AB.MP4";

}  // namespace faults_test
