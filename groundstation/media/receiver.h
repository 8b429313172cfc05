// The socket of the media channel. A thread of its own takes the datagrams out of the socket, as
// fast as the camera sends them, into a fixed ring, so that a slow disk costs nothing: what is lost
// here has to be fetched again.
#pragma once

#include <netinet/in.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/descriptor.h"

namespace groundstation {

// One owner thread calls everything; the receiver's own thread fills the ring and ends when the
// object does.
class MediaReceiver {
 public:
  MediaReceiver() = default;
  ~MediaReceiver();

  // Binds the address, any port, and starts the thread. Only what comes from `camera`, address and
  // port, is received. Returns an empty text, or why it cannot be done.
  [[nodiscard]] std::string open(const in_addr& local, const sockaddr_in& camera);

  // Our port; 0 until open.
  [[nodiscard]] uint16_t port() const;

  // A send error is ignored: the camera's silence tells.
  void send(std::span<const uint8_t> bytes);

  // The oldest datagram, valid until pop; nothing (no data pointer) when there is none.
  [[nodiscard]] std::span<const uint8_t> front() const;
  void pop();
  // Readable when a datagram came after prepare_wait, which says whether it is worth waiting.
  [[nodiscard]] int wake_fd() const { return wake_.get(); }
  [[nodiscard]] bool prepare_wait();

 private:
  static constexpr size_t kSlots = 4096;
  static constexpr size_t kSlotSize = 8192;  // the camera's largest datagram has 8182
  static constexpr size_t kBatch = 64;

  static void* run(void* self);
  void wait_for_input() const;
  [[nodiscard]] bool receive();
  [[nodiscard]] uint8_t* slot(size_t number) const {
    return slots_.get() + (number % kSlots) * kSlotSize;
  }

  base::Descriptor socket_;
  base::Descriptor wake_;
  base::Descriptor stop_;
  pthread_t thread_{};
  bool running_ = false;
  std::atomic<bool> stopping_ = false;
  std::unique_ptr<uint8_t[]> slots_;
  std::array<uint16_t, kSlots> sizes_{};
  std::atomic<size_t> head_ = 0;  // next to be read; written by the owner
  std::atomic<size_t> tail_ = 0;  // next to be filled; written by the thread
  std::atomic<bool> sleeping_ = false;
};

}  // namespace groundstation
