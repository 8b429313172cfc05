// Downloads: goodput and processor time per GB of the thread that sends, against a bare loop of
// equal datagrams on the same link, sent by a thread that is scheduled like it; and the memory that
// 1000 downloads leave behind. Runs in a virtual board.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "base/descriptor.h"
#include "media_board.h"
#include "process_figures.h"
#include "report.h"

namespace {

using namespace bench;  // NOLINT

constexpr size_t kDatagram = 8182;  // as the program sends them
constexpr int kSendBuffer = 10485760;
constexpr int kRounds = 3;
constexpr int kDownloads = 1000;

struct Flow {
  double megabytes_per_s = 0;
  double cpu_s_per_gb = 1e9;

  // The better of the two, each by itself.
  void keep_best(const Flow& other) {
    megabytes_per_s = std::max(megabytes_per_s, other.megabytes_per_s);
    cpu_s_per_gb = std::min(cpu_s_per_gb, other.cpu_s_per_gb);
  }
};

// Of the file's datagrams since number `first`.
Flow flow(const PeerPort& application, size_t first, double cpu_s) {
  double bytes = 0;
  double begin = 0;
  double end = 0;
  for (const Arrival& arrival : application.since(first)) {
    if (arrival.head[0] != 2) continue;
    if (bytes == 0) begin = arrival.at_s;
    end = arrival.at_s;
    bytes += static_cast<double>(arrival.size);
  }
  return {bytes / 1e6 / (end - begin), cpu_s / (bytes / 1e9)};
}

// `worker` gets how the thread that sent is scheduled.
Flow download(MediaBoard& board, ThreadCost* worker) {
  const size_t first = board.application.count();
  const auto before = thread_costs(board.pid());
  board.download(kVideoKind, "big.MP4");
  const auto after = thread_costs(board.pid());
  const pid_t thread = busiest(before, after, SCHED_RR, 2);
  *worker = after.at(thread);
  return flow(board.application, first, worker->cpu_s - before.at(thread).cpu_s);
}

Flow bare_loop(MediaBoard& board, const ThreadCost& worker) {
  const base::Descriptor sender(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  setsockopt(sender.get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(kApplicationPort);
  to.sin_addr.s_addr = inet_addr("192.168.31.111");
  std::array<uint8_t, kDatagram> bytes{2};
  const size_t first = board.application.count();
  double cpu = 0;
  run_like(worker, [&] {
    const double before = thread_cpu_seconds();
    for (size_t i = 0; i < kBigFile / (kDatagram - 1); i++) {
      sendto(sender.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
             sizeof(to));
    }
    cpu = thread_cpu_seconds() - before;
  });
  board.application.wait_for_silence(support::milliseconds(500));
  return flow(board.application, first, cpu);
}

void show_speed(MediaBoard& board) {
  Flow ours;
  Flow loop;
  for (int i = 0; i < kRounds; i++) {
    ThreadCost worker{};
    ours.keep_best(download(board, &worker));
    loop.keep_best(bare_loop(board, worker));
  }
  show({.name = "download",
        .unit = "MB/s",
        .ours = ours.megabytes_per_s,
        .reference_name = "bare loop",
        .reference = loop.megabytes_per_s,
        .goal = at_least(0.9)});
  show({.name = "download, CPU of its thread",
        .unit = "s/GB",
        .ours = ours.cpu_s_per_gb,
        .reference_name = "bare loop",
        .reference = loop.cpu_s_per_gb,
        .goal = at_most(1.5)});
}

void show_memory(MediaBoard& board) {
  double before = 0;
  for (int i = 0; i < kDownloads; i++) {
    board.download(kPhotoKind, "small.JPG");
    if (i == 9) before = static_cast<double>(resident_kb(board.pid()));
  }
  show({.name = "memory after " + std::to_string(kDownloads) + " downloads",
        .unit = "KB",
        .ours = static_cast<double>(resident_kb(board.pid())),
        .reference_name = "after 10",
        .reference = before,
        .goal = more_at_most(1024)});
}

}  // namespace

int main() {
  MediaBoard board;
  show_speed(board);
  show_memory(board);
}
