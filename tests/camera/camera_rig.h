// What surrounds the camera client in a unit test: a camera service at the far end of a socket
// pair, the UDP peer on the loopback address, the fake base, and one line of events in their order.
#pragma once

#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "camera/settings_table.h"
#include "fake_base/fake_base.h"

namespace camera_test {

using Timeline = std::vector<std::string>;

// The text that sets a value at the service, with the token of the tests.
[[nodiscard]] std::string set_text(const std::string& param, const std::string& type);
inline const std::string kStopPreview = R"({"msg_id":260,"token":77})";
inline const std::string kSdQuery = R"({"msg_id":4097,"token":77})";
// Answers that say no: with another result, without one, and with one that is no number.
[[nodiscard]] std::vector<std::string> failed_replies(int msg_id);

// Messages to the peer, as the timeline shows them. Bytes are given as hexadecimal text.
inline const std::string kPhotoOk = "app 77: d1 07 00";
inline const std::string kPhotoFailed = "app 77: d1 07 04";
inline const std::string kRecordStartOk = "app 77: c4 09 00";
inline const std::string kRecordStartFailed = "app 77: c4 09 04";
inline const std::string kRecordStopOk = "app 77: c5 09 00";
inline const std::string kRecordStopFailed = "app 77: c5 09 04";
[[nodiscard]] std::string camera_ack(const std::string& subject, const std::string& result,
                                     const std::string& value);
[[nodiscard]] std::string sd_report(const std::string& code,
                                    const std::string& total_mb = "00 00 00 00",
                                    const std::string& free_mb = "00 00 00 00");
[[nodiscard]] std::string camera_report(const std::string& code_float);
inline const std::string kPhotoReport = camera_report("00 00 80 3f");          // 1
inline const std::string kRecordStartedReport = camera_report("00 00 40 40");  // 3
inline const std::string kRecordStoppedReport = camera_report("00 00 80 40");  // 4
// With the parameters of save_timelapse_parameters.
[[nodiscard]] std::string timelapse_report(const std::string& state_float);
inline const std::string kTimelapseRunning = "00 00 00 00";
inline const std::string kTimelapsePaused = "00 00 80 3f";
inline const std::string kTimelapseEnded = "00 00 00 40";

// Called by the wrapped send calls (CMakeLists.txt).
void note_send();

// Every test starts with the defaults, a connected service, an open peer socket, token 77 and the
// three timers created and disarmed.
class CameraTest : public fake_base::FakeBaseTest {
 protected:
  CameraTest();
  ~CameraTest() override;

  // The camera service says this, in one read.
  static void say(std::string_view text);
  // Everything that happened since the last call, in order:
  //   "sleep 500"           milliseconds
  //   "record tick 1000"    a timer that was armed ("status", "time-lapse"); 0: disarmed
  //   "run CMD"             a shell command
  //   {"msg_id":...}        a text to the camera service, one line per send
  //   "app 77: d1 07 00"    a message to the peer
  [[nodiscard]] Timeline timeline();
  // No connection to the camera service any more.
  static void disconnect();
  // And one again.
  void reconnect();
  // The service goes away without a word: the next send fails.
  void break_connection() { service_.reset(); }
  // Runs at every sleep, before the code under test goes on.
  void at_sleep(std::function<void()> look) { look_ = std::move(look); }
  // Confirmed and requested value.
  static void settle(camera::Setting setting, int32_t value);
  static void save_timelapse_parameters();
  // What the code printed on standard output while `call` ran.
  static std::string printed_by(const std::function<void()>& call);
  // Raw datagrams to the peer since the last look.
  [[nodiscard]] std::vector<std::vector<uint8_t>> datagrams() { return std::exchange(raw_, {}); }

  [[nodiscard]] int service() const { return service_.get(); }

 private:
  void open_peer();
  friend void note_send();
  void take_base_events(bool but_the_last);
  void take_traffic();
  [[nodiscard]] std::vector<std::vector<uint8_t>> receive_datagrams();
  void on_base_event();

  static inline CameraTest* current_ = nullptr;

  base::Descriptor connection_;  // the program's end
  base::Descriptor service_;
  base::Descriptor sender_;  // the program's peer socket
  base::Descriptor peer_;
  std::function<void()> look_;
  Timeline timeline_;
  std::vector<std::vector<uint8_t>> raw_;
  size_t seen_events_ = 0;
};

}  // namespace camera_test
