// The programs of the board, started and stopped by a test.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/board_files.h"
#include "support/camera_fake.h"
#include "support/child_process.h"
#include "support/mavlink.h"
#include "support/patience.h"
#include "support/peer_link.h"

namespace support {

// What a program of the board needs in its environment when it was built with a sanitizer: it
// reports and leaves the signals alone.
Environment sanitizer_options();

// What LD_PRELOAD names so that a program of this build loads the library; the folder, whose path has no space,
// gets links to it. A program of another machine, as are the board's own tools around one that runs under an
// emulator, gets what is for it: the loader puts its own kind of folder into the path.
std::string preload_path(const std::string& library, const std::string& folder);

// A settimeofday for the program that only notes its calls, in that file, and leaves the machine's
// clock alone. Needs the target clockshim.
Environment noting_clock(const std::string& notes);

// `maintask` as it is delivered. When it is stopped its output is searched for what a sanitizer
// says; a finding fails the test.
class RunningMaintask {
 public:
  // The FIFO library listens for script lines and logs; see its README for both.
  static constexpr const char* kFifoControl = "/tmp/fifo.ctl";
  static constexpr const char* kFifoLog = "/tmp/fifo.log";

  // `fifo_script`: lines for the FIFO library, run from its start on. `program` is another program
  // with the same services.
  explicit RunningMaintask(const std::string& fifo_script = "", const Environment& extra = {},
                           const char* program = "maintask");
  ~RunningMaintask();
  RunningMaintask(const RunningMaintask&) = delete;
  RunningMaintask& operator=(const RunningMaintask&) = delete;

  ChildProcess& process() { return process_; }
  // Whether it is still alive.
  bool runs() { return !process_.status().has_value(); }
  // Runs one line of a FIFO script now.
  static void fifo(const std::vector<std::string>& words);
  // How many lines of the FIFO library's log hold the text.
  static size_t fifo_log_count(std::string_view text);

 private:
  ChildProcess process_;
};

// The stand-in for the camera service, with real photos and recordings.
class RunningCameraService {
 public:
  RunningCameraService();
  // One line of its control socket. Returns what it prints; the test fails when it is refused.
  static std::string control(const std::vector<std::string>& words);
  ChildProcess& process() { return process_; }

 private:
  ChildProcess process_;
};

// A maintask with its peer and a scripted camera service.
struct ScriptedBoard {
  // Returns when the session is up, the size of the card is known and live video flows, so that
  // camera actions are accepted; the test fails otherwise.
  explicit ScriptedBoard(const std::string& fifo_script = "");

  // Brings the camera service back to the answers of a session and the peer back to a heartbeat
  // without a wish, and waits until camera actions are accepted. For the start of a test.
  void reset();

  // Sends a frame whose effect shows at the camera service: a bitrate other than the confirmed one.
  // Returns whether it arrived there. Not to be mixed with bitrates that the test asks for.
  bool probe(milliseconds limit = seconds(3));
  // The frame that the next probe sends; it then has to be sent.
  Frame probe_frame();

  PeerLink peer;
  PeerSocket video{8856};
  CameraFake camera;
  RunningMaintask maintask;

 private:
  bool probe_low_ = false;
};

// Switches the stream on and waits for a piece of live video; the peer's heartbeats ask for it from
// then on.
bool wait_for_live_video(PeerLink& peer, PeerSocket& video);

}  // namespace support
