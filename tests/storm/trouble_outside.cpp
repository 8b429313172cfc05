// The service, the card, the encoder, the radio, and bytes that are no commands.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <csignal>

#include "storm/control_sockets.h"
#include "storm/trouble.h"
#include "support/loopback.h"
#include "support/station.h"

namespace storm {

using namespace support;  // NOLINT

namespace {

constexpr uint16_t kPorts[] = {8888, 8857, 8866, 8867, 8856};
constexpr const char* kMessages[] = {"2",   "1",   "4",   "5",   "16",  "257",  "259", "260",
                                     "513", "514", "769", "769", "772", "4097", "all"};

}  // namespace

void Trouble::garbage() {
  const uint16_t port = kPorts[below(std::size(kPorts))];
  const int count = between(1, 60);
  note(std::to_string(count) + " garbage datagrams to " + std::to_string(port));
  for (int i = 0; i < count; i++) board_.peer().socket().send(noise(below(1500)), port);
}

// Good frames that are cut, doubled, bent in a byte, or of another length than their message has.
void Trouble::bent_frames() {
  static constexpr uint8_t kIds[] = {0, 21, 24, 32, 56, 67, 90, 105, 107, 141};
  const uint16_t port = one_in(2) ? 8888 : 8857;
  note("bent frames to " + std::to_string(port));
  for (int i = between(1, 40); i > 0; i--) {
    Bytes bytes = encode(message(kIds[below(std::size(kIds))], noise(below(255))));
    if (one_in(2)) bytes[below(bytes.size())] ^= static_cast<uint8_t>(between(1, 255));
    if (one_in(2)) bytes.resize(1 + below(bytes.size()));
    if (one_in(4)) bytes.insert(bytes.end(), bytes.begin(), bytes.end());
    board_.peer().socket().send(bytes, port);
  }
}

void Trouble::oversize() {
  constexpr size_t kLargest = 65507;
  const uint16_t port = kPorts[below(std::size(kPorts))];
  note("oversize datagrams to " + std::to_string(port));
  for (int i = between(1, 5); i > 0; i--) {
    board_.peer().socket().send(noise(kLargest - below(100)), port);
  }
}

void Trouble::connect_app() {
  base::Descriptor fd = peer_station().open_socket(SOCK_STREAM);
  if (!fd.open()) return;
  fcntl(fd.get(), F_SETFL, O_NONBLOCK);
  const sockaddr_in to = host_address("192.168.31.1", 8866);
  // In progress, refused or made: all the same.
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 ||
      errno == EINPROGRESS) {
    apps_.push_back(std::move(fd));
  }
}

void Trouble::tcp_flood() {
  note("TCP flood");
  for (int i = between(2, 20); i > 0; i--) connect_app();
  let_pass(milliseconds(10));
  for (const base::Descriptor& app : apps_) {
    const Bytes bytes = noise(below(2000));
    ::send(app.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  if (one_in(2)) apps_.clear();
}

void Trouble::app_session() {
  if (!board_.is_applink()) return;
  note("application");
  if (apps_.empty() || one_in(3)) connect_app();
  let_pass(milliseconds(between(0, 300)));
  if (apps_.empty()) return;
  Bytes bytes = encode(heartbeat(0));
  const Bytes more = encode(message(21, {0, 0}));
  bytes.insert(bytes.end(), more.begin(), more.end());
  ::send(apps_.back().get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (one_in(3)) apps_.pop_back();
}

void Trouble::service_fault() {
  const std::string id = pick(kMessages);
  const std::string times = " " + std::to_string(between(1, 3));
  switch (below(6)) {
    case 0:
      board_.owes_answers |= id == "257" || id == "all";  // a refused session is as good as none
      return service("rval " + id + " -" + std::to_string(between(1, 9)) + times);
    case 1:
      return service("delay " + id + " " + std::to_string(between(50, 1500)) + times);
    case 2:
      board_.owes_answers = true;
      return service("split " + id + " " + std::to_string(between(10, 300)) + times);
    case 3:
      board_.owes_answers = true;
      return service("mute " + id + times);
    case 4: {
      static constexpr const char* kTypes[] = {"saturation",    "video_resolution", "color_style",
                                               "fix_iso_value", "raw_mode",         "camera_clock"};
      return service(std::string("refuse ") + pick(kTypes) + " -1" + times);
    }
    default:
      if (id == "all") return;
      board_.owes_answers = true;
      return service("answer " + id + R"( {"rval":"x","msg_id":)" + id +
                     R"(,"param":[1,{"a":2}]})");
  }
}

void Trouble::service_noise() {
  static constexpr const char* kTexts[] = {
      "SD_SPEED_CHECKING", "SD_SPEED_LOW",     "SD_SPEED_OK", "SD_NO_SPACE",
      "SD_ERROR",          "SD_CARD_INSERTED", "x",           "SD_FORMAT_EXFAT",
      "SD_FORMAT_FAT32"};
  static constexpr const char* kRaw[] = {
      R"({"notify_id":)",
      "{}",
      "}}}}",
      R"({"msg_id":769})",
      R"({"rval":0,"msg_id":99999999999})",
      R"({"notify_id":5,"param":"a"}{"notify_id":11}{"notify_id":12})"};
  if (one_in(3)) {
    board_.owes_answers = true;
    return service("garbage " + std::to_string(between(1, 6000)));
  }
  if (one_in(3)) {
    board_.owes_answers = true;
    return service(std::string("raw ") + pick(kRaw));
  }
  service("notify " + std::to_string(between(0, 14)) + " " + pick(kTexts));
}

void Trouble::service_gone() {
  switch (below(3)) {
    case 0:
      return service("drop");
    case 1:
      return service("restart " + std::to_string(between(0, 1500)));
    default:
      board_.kill_service();
      let_pass(milliseconds(between(0, 800)));
      if (!read_only_) board_.start_service();  // it could not prepare its card
  }
}

void Trouble::service_stall() {
  if (board_.service_pid() <= 0) return;
  note(stalled_ ? "service goes on" : "service stalls");
  kill(board_.service_pid(), stalled_ ? SIGCONT : SIGSTOP);
  stalled_ = !stalled_;
}

void Trouble::card() {
  if (read_only_) return;
  switch (below(8)) {
    case 0:
    case 1:
      return service("fill " + std::to_string(below(9) * 1000));
    case 2:
      return service("unfill");
    case 3:
    case 4:
      return service("remove");
    case 5:
      return service("insert");
    case 6: {
      static constexpr const char* kFindings[] = {"checking", "speed-ok", "slow",
                                                  "error",    "exfat",    "fat32"};
      return service(std::string("card ") + pick(kFindings));
    }
    default: {
      static constexpr const char* kModes[] = {"ok", "motorola", "gps", "none", "broken", "cut"};
      return service(std::string("photo-exif ") + pick(kModes));
    }
  }
}

// A mount on top, so that files which are open stay as they are and everything new is refused.
void Trouble::card_read_only() {
  note(read_only_ ? "card is writable" : "card is read-only");
  run_command({"sh", "-c",
               read_only_ ? "umount -l /tmp/SD0"
                          : "mount --bind /tmp/SD0 /tmp/SD0 && "
                            "mount -o remount,bind,ro /tmp/SD0"});
  read_only_ = !read_only_;
}

void Trouble::end_card() {
  if (read_only_) card_read_only();
  for (const char* line : {"insert", "unfill", "card speed-ok"}) ask_service(line);
}

void Trouble::encoder() {
  static constexpr const char* kLines[] = {"stop",
                                           "start",
                                           "final",
                                           "stop6",
                                           "fifo-end",
                                           "quiet 300",
                                           "quiet 900",
                                           "end-video",
                                           "end-audio",
                                           "end-video-size",
                                           "end-audio-size",
                                           "wrap",
                                           "wrap audio",
                                           "exact",
                                           "exact audio",
                                           "outside",
                                           "outside-before audio",
                                           "outside-null",
                                           "pause",
                                           "resume",
                                           "rate 120",
                                           "rate 5",
                                           "stray 20",
                                           "control 9",
                                           "fifo-event 77",
                                           "video-type 9 3",
                                           "audio-type 7 2",
                                           "video-size 900000",
                                           "video-size 2000000",
                                           "audio-size 300000",
                                           "video-size 0"};
  const std::string line = pick(kLines);
  note("encoder: " + line);
  tell_encoder(line);
}

void Trouble::encoder_failure() {
  static constexpr const char* kLines[] = {
      "init-fail 2",       "init-no-instance 2", "list-fail 2",     "no-media-info 2",
      "config-fail 2",     "create-fail 2",      "create-delay 30", "peek-fail 3",
      "peek-fail audio 2", "stop-delay 3",       "no-streams",      "inactive"};
  const std::string line = pick(kLines);
  note("encoder: " + line + ", stop, start");
  for (const std::string& each : {line, std::string("stop"), std::string("start")}) {
    tell_encoder(each);
  }
}

void Trouble::radio_loss() {
  const std::string percent = std::to_string(between(1, 30));
  note("radio loses " + percent + " %");
  const std::string rule =
      "iptables -t mangle -F; iptables -t mangle -A PREROUTING -i wlan0 -m "
      "statistic --mode random --probability 0." +
      std::string(percent.size() == 1 ? "0" : "") + percent + " -j DROP";
  run_command({"sh", "-c", rule});
  run_command({"on-peer", "sh", "-c", rule});
}

void Trouble::radio_down() {
  const int ms = one_in(6) ? between(4200, 6000) : between(100, 1500);
  note("radio down for " + std::to_string(ms) + " ms");
  const bool interface = one_in(2);
  run_command(
      {"sh", "-c",
       interface ? "ip link set wlan0 down" : "iptables -t mangle -I PREROUTING -i wlan0 -j DROP"});
  let_pass(milliseconds(ms));
  run_command(
      {"sh", "-c",
       interface ? "ip link set wlan0 up" : "iptables -t mangle -D PREROUTING -i wlan0 -j DROP"});
}

}  // namespace storm
