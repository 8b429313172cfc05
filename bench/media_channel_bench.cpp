// The media channel against what the link and the machine allow, each from one run:
//   download: goodput and CPU per GB against a bare sendto loop of equal datagrams on the same link
//   list: 10000 files against the floor of the 10 us pause after each record
//   memory: resident size before and after 1000 downloads
//   live video: the 99 % gap between datagrams alone, and with downloads, thumbnails and lists
// Runs in a virtual board.
#include <arpa/inet.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "base/clock.h"
#include "base/descriptor.h"
#include "process_figures.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

constexpr uint16_t kChannelPort = 8857;
constexpr uint16_t kApplicationPort = 30000;
constexpr size_t kFileSize = 64U << 20;
constexpr size_t kDatagram = 8182;
constexpr int kDownloads = 1000;
constexpr size_t kListed = 10000;
const std::string kMedia = "/tmp/SD0/KRVMEDIA/";

double seconds_between(Time from, Time to) {
  return std::chrono::duration<double>(to - from).count();
}

Frame request(uint8_t kind, uint8_t operation, const std::string& name) {
  Bytes payload(243);
  payload[1] = kind;
  std::memcpy(payload.data() + 2, name.data(), name.size());
  payload[122] = operation;
  return message(142, payload);
}

Frame list_request(bool photos) {
  Frame frame = message(21, Bytes(2));
  frame.component = photos ? 195 : 0;
  return frame;
}

// Whether a notification begins so.
bool says(const Datagram& datagram, const char* text) {
  const Bytes& bytes = datagram.bytes;
  return bytes.size() == 263 && std::memcmp(bytes.data() + 10, text, std::strlen(text)) == 0;
}

// Sends the request until the answer comes.
std::optional<Datagram> ask(PeerSocket& application, const Frame& frame, const char* answer) {
  for (int i = 0; i < 20; i++) {
    const size_t from = application.count();
    application.send(encode(frame), kChannelPort);
    const auto found = application.wait_for(
        [=](const Datagram& datagram) { return says(datagram, answer); }, seconds(60), from);
    if (found) return found;
  }
  return std::nullopt;
}

struct Flow {
  double megabytes_per_s;
  double cpu_s_per_gb;
};

Flow flow(const std::vector<Datagram>& datagrams, size_t first, double cpu_s) {
  size_t bytes = 0;
  Time begin{};
  Time end{};
  for (size_t i = first; i < datagrams.size(); i++) {
    if (datagrams[i].bytes[0] != 2) continue;
    if (bytes == 0) begin = datagrams[i].arrived;
    end = datagrams[i].arrived;
    bytes += datagrams[i].bytes.size();
  }
  const auto amount = static_cast<double>(bytes);
  return {amount / 1e6 / seconds_between(begin, end), cpu_s / (amount / 1e9)};
}

// The process's own CPU apart from the download, seconds per second: the encoder runs in it.
double idle_rate(pid_t maintask) {
  const double before = bench::cpu_seconds(maintask);
  let_pass(seconds(5));
  return (bench::cpu_seconds(maintask) - before) / 5;
}

Flow download(PeerSocket& application, pid_t maintask) {
  const double idle = idle_rate(maintask);
  const size_t first = application.count();
  const double before = bench::cpu_seconds(maintask);
  const Time begin = Clock::now();
  ask(application, request(3, 1, "big.MP4"), "TRANSCOMPLETE");
  const double cpu = bench::cpu_seconds(maintask) - before;
  return flow(application.received(), first, cpu - idle * seconds_between(begin, Clock::now()));
}

double thread_cpu() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

Flow bare_loop(PeerSocket& application) {
  const base::Descriptor sender(socket(AF_INET, SOCK_DGRAM, 0));
  const int buffer = 10485760;
  setsockopt(sender.get(), SOL_SOCKET, SO_SNDBUF, &buffer, sizeof(buffer));
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(kApplicationPort);
  to.sin_addr.s_addr = inet_addr("192.168.31.111");
  Bytes bytes(kDatagram, 2);
  const size_t first = application.count();
  const double before = thread_cpu();
  for (size_t i = 0; i < kFileSize / (kDatagram - 1); i++) {
    sendto(sender.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
           sizeof(to));
  }
  const double cpu = thread_cpu() - before;
  let_pass(seconds(1));
  return flow(application.received(), first, cpu);
}

void show_download(PeerSocket& application, pid_t maintask) {
  const Flow ours = download(application, maintask);
  const Flow loop = bare_loop(application);
  std::printf("download: %.2f MB/s, bare loop %.2f MB/s, ratio %.2f, limit at least 0.90\n",
              ours.megabytes_per_s, loop.megabytes_per_s,
              ours.megabytes_per_s / loop.megabytes_per_s);
  std::printf("download CPU: %.2f s/GB, bare loop %.2f s/GB, ratio %.2f\n", ours.cpu_s_per_gb,
              loop.cpu_s_per_gb, ours.cpu_s_per_gb / loop.cpu_s_per_gb);
}

void show_memory(PeerSocket& application, pid_t maintask) {
  long before = 0;
  for (int i = 0; i < kDownloads; i++) {
    ask(application, request(1, 1, "small.JPG"), "TRANSCOMPLETE");
    if (i == 9) before = bench::resident_kb(maintask);
  }
  const long after = bench::resident_kb(maintask);
  std::printf("memory: %ld KB after 10 downloads, %ld KB after %d, %+ld KB\n", before, after,
              kDownloads, after - before);
}

void show_list(PeerSocket& application) {
  fs::remove_all(kMedia + "PIC");
  fs::create_directories(kMedia + "PIC");
  for (size_t i = 0; i < kListed; i++) std::ofstream(kMedia + "PIC/" + std::to_string(i) + ".JPG");
  const size_t first = application.count();
  application.send(encode(list_request(true)), kChannelPort);
  const auto is_record = [](const Datagram& datagram) { return datagram.bytes.size() == 64; };
  const auto count = [&] {
    const auto all = application.received();
    return std::count_if(all.begin() + static_cast<ptrdiff_t>(first), all.end(), is_record);
  };
  ptrdiff_t seen = -1;
  while (count() != seen) {
    seen = count();
    let_pass(milliseconds(500));
  }
  const auto all = application.received();
  const auto begin =
      std::find_if(all.begin() + static_cast<ptrdiff_t>(first), all.end(), is_record);
  const double took = seconds_between(begin->arrived, all.back().arrived);
  prctl(PR_SET_TIMERSLACK, 1);  // maintask's worker sleeps as exactly as this
  const Time floor_begin = Clock::now();
  for (size_t i = 0; i < kListed; i++) base::sleep_us(10);
  const double floor = seconds_between(floor_begin, Clock::now());
  std::printf("list of %zu: %.3f s (%td arrived), its pauses alone %.3f s, ratio %.2f\n", kListed,
              took, seen, floor, took / floor);
}

double p99_gap_ms(PeerSocket& video, milliseconds time, const std::function<void()>& work) {
  const size_t first = video.count();
  const Time end = Clock::now() + time;
  while (Clock::now() < end) work();
  const auto all = video.received();
  std::vector<double> gaps;
  for (size_t i = first + 1; i < all.size(); i++) {
    gaps.push_back(1000 * seconds_between(all[i - 1].arrived, all[i].arrived));
  }
  if (gaps.empty()) return 0;
  std::sort(gaps.begin(), gaps.end());
  return gaps[gaps.size() * 99 / 100];
}

void show_live_video(PeerSocket& application, PeerLink& peer) {
  PeerSocket video(8856);
  wait_for_live_video(peer, video);
  const double alone = p99_gap_ms(video, seconds(30), [] { let_pass(milliseconds(50)); });
  const double busy = p99_gap_ms(video, seconds(30), [&] {
    application.send(encode(request(3, 1, "big.MP4")), kChannelPort);
    let_pass(milliseconds(700));
    fs::remove(kMedia + "THUMB/clip_v.JPG");
    application.send(encode(list_request(false)), kChannelPort);
    application.send(encode(request(2, 1, "clip.MP4")), kChannelPort);
    let_pass(milliseconds(300));
  });
  std::printf(
      "live video, p99 of the gaps: %.2f ms alone, %.2f ms while busy, %+.2f ms, limit +2\n", alone,
      busy, busy - alone);
}

void make_files() {
  for (const char* folder : {"PIC", "VIDEO"}) fs::create_directories(kMedia + folder);
  std::mt19937 random(1);
  Bytes bytes(kFileSize);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  const auto write = [&](const std::string& path, size_t size) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(size));
  };
  write(kMedia + "VIDEO/big.MP4", kFileSize);
  write(kMedia + "PIC/small.JPG", 50000);
  run_command({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
               "nullsrc=size=1280x720:rate=30,geq=random(1)*255:128:128", "-t", "1", "-c:v",
               "libx264", "-preset", "ultrafast", kMedia + "VIDEO/clip.MP4"},
              seconds(60));
}

}  // namespace

int main() {
  make_files();
  CameraFake camera;
  camera.answer_session();
  PeerLink peer;
  peer.keep_alive();
  RunningMaintask maintask;
  PeerSocket application(kApplicationPort);
  const pid_t pid = maintask.process().pid();
  let_pass(seconds(2));
  show_live_video(application, peer);
  application.send(encode(request(0, 4, "")), kChannelPort);
  let_pass(seconds(1));
  peer.keep_alive(0);
  show_download(application, pid);
  show_memory(application, pid);
  show_list(application);
}
