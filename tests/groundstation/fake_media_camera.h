// The media channel of a small camera on 127.0.0.1: one transfer at a time, with losses both ways.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "flightlink/frame/mavlink_frame.h"
#include "groundstation/fake_endpoint.h"

namespace groundstation_test {

struct MediaScript {
  std::map<std::string, std::string> photos = {};
  std::map<std::string, std::string> videos = {};
  std::set<std::string> bad_thumbnails = {};  // of these files none can be made
  double loss = 0;                            // of the datagrams, both ways
  uint32_t seed = 1;
  bool silent = false;
  bool keeps_files = false;                       // deletes nothing, without a word
  bool knows_files = true;                        // otherwise only once a list has been asked for
  std::map<std::string, std::string> later = {};  // photos and videos that appear() brings
  int later_by = 0;                               // so many lists after it
  std::vector<std::string> play = {};             // payloads of a playback
  uint64_t play_pause_us = 0;                     // between them
  std::string seconds = "2";                      // duration of every video
  bool loses_end = false;   // the notice of a playback's end is lost on the way
  bool breaks_off = false;  // a playback ends without that notice
};

class FakeMediaCamera : public FakeEndpoint {
 public:
  explicit FakeMediaCamera(const MediaScript& script);
  ~FakeMediaCamera();

  // Operations and arguments of the requests for a file, in the order of arrival.
  [[nodiscard]] std::vector<std::pair<int, std::string>> requests();
  [[nodiscard]] int count(int operation);
  [[nodiscard]] int lists() const { return lists_; }
  // New files are on the card. Any thread.
  void appear() { lists_to_come_ = script_.later_by; }

 private:
  struct Item {
    flightlink::MavlinkMessage message;
    bool transfer;  // the request has been handled and now runs
  };

  static void* run(void* self);
  void take_all(int wait_ms);
  void take(const flightlink::MavlinkMessage& message);
  void handle(const Item& item);
  void handle_request(const Item& item, std::map<std::string, std::string>* files,
                      const std::string& name);
  void list(bool photos);
  void add_later();
  void make_thumbnail(const std::string& name);
  void send_file(int kind, const std::string& name, const std::string& bytes, size_t offset);
  void play(const std::string& name, int ms);
  [[nodiscard]] bool lost();
  void send(uint8_t channel, const std::string& bytes);
  void send_frame(uint8_t channel, uint8_t msgid, const std::string& payload);
  void notice(const std::string& text, uint8_t channel = 0);

  MediaScript script_;
  uint8_t sequence_ = 250;
  std::mt19937 random_;
  std::deque<Item> queue_;
  std::map<std::string, std::string> thumbnails_;
  std::atomic<int> lists_ = 0;
  std::atomic<int> lists_to_come_ = -1;  // before the new files are listed; -1: none are to come
  bool cancel_ = false;
  bool paused_ = false;
  int seek_ms_ = -1;
  std::mutex mutex_;
  std::vector<std::pair<int, std::string>> requests_;
};

}  // namespace groundstation_test
