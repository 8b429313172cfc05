// A board with everything that runs on it and around it: the program under test, the camera service,
// and the peer's ends of the three channels. Started fresh, with an empty card, and kept going
// through whatever a caller does to it. What failed and what was said is kept. One owner thread.
#pragma once

#include <deque>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>

#include "storm/footprint.h"
#include "storm/story.h"
#include "support/fixtures.h"
#include "system/media_channel.h"

namespace storm {

using support::milliseconds;
using support::seconds;

// The contents of holiday.txt, a file on the card that is not the camera's.
inline constexpr const char* kHoliday = "not the camera's\n";

struct BoardOptions {
  std::string program = "maintask";  // or "applink"
  support::Environment environment;  // of the program, beside what the rig needs itself
};

class Board {
 public:
  // Empties the card, lays the old firmware image on it, starts service, peer and program.
  explicit Board(BoardOptions options);
  ~Board();

  // The program ends by SIGKILL and is started again. Its footprint is taken anew by ready().
  void kill_program();
  void start_program();
  // The same for the service; nothing when it runs (or does not).
  void kill_service();
  void start_service();

  // New sockets of the peer's three channels: nothing that came before is in them, and nothing is
  // sent by itself.
  void renew_sockets();

  // Waits until the session with the service is up, the card's size is known and live video comes.
  // The first time in a program's life its footprint is taken. False when the limit passes.
  bool ready(milliseconds limit);

  [[nodiscard]] bool program_runs() { return program_ && program_->runs(); }
  // What runs or has ended; there has to be one.
  support::ChildProcess& program() { return program_->process(); }
  [[nodiscard]] bool has_program() const { return program_ != nullptr; }
  [[nodiscard]] bool is_applink() const { return options_.program == "applink"; }
  [[nodiscard]] pid_t program_pid() const { return program_ ? program_->process().pid() : -1; }
  [[nodiscard]] pid_t service_pid() const { return service_ ? service_->process().pid() : -1; }
  support::PeerLink& peer() { return *peer_; }
  support::PeerSocket& video() { return *video_; }
  media_channel::Application& media() { return *media_; }

  // The status record and heartbeat that come next; nothing when none comes in the limit.
  std::optional<support::Frame> status(milliseconds limit = seconds(5));
  std::optional<support::Frame> heartbeat(milliseconds limit = seconds(5));
  // Everything that is set at the service; an empty object when it does not answer.
  nlohmann::json service_state();
  // The story so far, brought up to date.
  Story& story();

  // What happened last, oldest first, with seconds since the board's start.
  void note(const std::string& event);
  [[nodiscard]] std::string events() const;
  // Writes what program and service have said, and the events, into that folder of the host.
  void keep_logs(const std::string& folder);

  // As the program's start left things.
  [[nodiscard]] const std::optional<Footprint>& first_footprint() const { return footprint_; }
  [[nodiscard]] const FileMap& files_outside() const { return files_; }

  // Facts that the checks need of what was done to the board.
  std::set<std::string> deleted;  // recordings, and pictures of photos, that a client deleted
  std::set<std::string> clocks;   // that the program was told, as the service is
  std::string old_firmware;
  std::string new_firmware;   // empty: none was sent
  bool owes_answers = false;  // the service left something unanswered: a program waits up to 60 s

 private:
  BoardOptions options_;
  support::Time began_ = support::Clock::now();
  std::unique_ptr<support::PeerLink> peer_;
  std::unique_ptr<support::PeerSocket> video_;
  std::unique_ptr<media_channel::Application> media_;
  std::unique_ptr<support::RunningCameraService> service_;
  std::unique_ptr<support::RunningMaintask> program_;
  size_t service_lines_ = 0;  // of the running service: told to the story
  Story story_;
  std::optional<Footprint> footprint_;
  FileMap files_;
  std::deque<std::string> events_;
  std::string program_log_;
  std::string service_log_;
};

}  // namespace storm
