// Receives the live video datagrams on a thread of its own, so that a slow disk or terminal never
// lets the socket's buffer run over.
#pragma once

#include <netinet/in.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "base/descriptor.h"

namespace groundstation {

inline constexpr uint16_t kLivePort = 8856;

struct LiveDatagram {
  uint64_t at_us;  // monotonic
  sockaddr_in from;
  std::vector<uint8_t> bytes;
};

// One owner thread calls everything; the receiver's own thread fills the queue under the mutex and
// ends when the object does.
class LiveReceiver {
 public:
  LiveReceiver() = default;
  ~LiveReceiver();

  // Binds the socket and starts the thread. Only datagrams from `camera` (any port) count. Returns
  // an empty text, or why it cannot be done.
  [[nodiscard]] std::string open(const sockaddr_in& local, const in_addr& camera);

  // Readable while the queue is not empty.
  [[nodiscard]] int wake_fd() const { return wake_.get(); }
  // Empties the queue, oldest first.
  [[nodiscard]] std::vector<LiveDatagram> take();
  // Datagrams that arrived but found no room, in the socket or in the queue.
  [[nodiscard]] uint64_t dropped() const;

 private:
  static void* run(void* self);
  void receive();
  void push(const sockaddr_in& from, size_t size);

  in_addr camera_{};
  base::Descriptor socket_;
  base::Descriptor wake_;
  base::Descriptor stop_;
  pthread_t thread_{};
  bool running_ = false;
  std::atomic<uint32_t> socket_dropped_ = 0;  // the kernel's own count
  std::atomic<uint64_t> queue_dropped_ = 0;
  std::mutex mutex_;  // guards queue_ and queued_bytes_
  std::vector<LiveDatagram> queue_;
  size_t queued_bytes_ = 0;
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(65536);  // the thread's
};

}  // namespace groundstation
