// A small camera on 127.0.0.1: answers the ground station's messages as a script says. It sends to
// whoever sent last, so that tests may use any port.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "flightlink/frame/mavlink_frame.h"
#include "groundstation/fake_endpoint.h"

namespace groundstation_test {

struct CameraScript {
  bool heartbeats = true;
  bool status = true;
  bool ready = true;          // otherwise every action and card query is refused without a word
  bool noise = false;         // damaged and foreign datagrams between the good ones
  int lose_commands = 0;      // so many COMMAND_LONG messages do not arrive
  int lose_acks = 0;          // so many command acknowledgements are lost on the way
  bool lose_reports = false;  // camera reports are lost on the way
  int unasked_report = 0;     // a camera report that comes all the time, 0: none
  uint8_t result = 0;         // of photo, recording and mode switch
  bool recording = false;
  uint8_t mode = 0;  // 0 photo, 1 video
  bool raw = false;
  int refused_setting = -1;  // the sub of a setting that is refused without a word
  bool other_value = false;  // acknowledgements of settings carry another value
  std::vector<std::pair<std::string, std::string>> parameters = {};
  int lose_parameters = 0;  // so many parameters are lost on the way
  uint16_t live_port = 0;
  std::vector<std::vector<uint8_t>> live = {};  // datagrams, one every 5 ms, again and again
  int live_count = -1;                          // so many at once, then none; -1: no end
  std::function<void()> on_new_file = {};       // a photo has been taken, or a recording has ended
};

class FakeCamera : public FakeEndpoint {
 public:
  explicit FakeCamera(const CameraScript& script);
  ~FakeCamera();

  [[nodiscard]] int photos() const { return photos_; }
  // Good frames in the order of arrival, lost ones included: all that were sent before the call, also
  // those that this camera has not got round to yet.
  [[nodiscard]] std::vector<flightlink::MavlinkMessage> received();
  [[nodiscard]] std::vector<flightlink::MavlinkMessage> received(uint8_t msgid);
  [[nodiscard]] bool stream_on() const { return stream_on_; }
  [[nodiscard]] int link_status() const { return link_status_; }

 private:
  static void* run(void* self);
  void catch_up() const;
  void turn();
  void handle(const flightlink::MavlinkMessage& message);
  void command(const flightlink::MavlinkMessage& message);
  void action(int action);
  void setting(uint8_t sub, uint32_t value);
  void timelapse(uint8_t confirmation);
  void list_parameters();
  void photo();
  void switch_mode(uint8_t mode);
  void record(bool on);
  void send_regular();
  void send_live();
  void acknowledge(uint16_t command);
  void report(float code);
  void send(uint8_t msgid, uint8_t sysid, const std::vector<uint8_t>& payload, bool lost = false);

  CameraScript script_;
  uint8_t sequences_[256] = {};
  std::vector<uint8_t> status_;
  uint64_t next_regular_us_ = 0;
  uint64_t next_live_us_ = 0;
  size_t next_piece_ = 0;
  std::atomic<int> photos_ = 0;
  std::atomic<bool> stream_on_ = false;
  std::atomic<int> link_status_ = 0;
  std::atomic<uint64_t> turns_ = 0;
  std::mutex mutex_;
  std::vector<flightlink::MavlinkMessage> received_;
};

// A UDP port that is free at the moment.
uint16_t free_port();

}  // namespace groundstation_test
