// One connected byte stream on the loop: input as it comes, output through a queue in which a piece
// may be held back, so that a text can be split over two writes. Loop thread only.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "camera_service/loop.h"

namespace camera_service {

class Stream {
 public:
  using OnBytes = std::function<void(std::string_view)>;
  using OnClosed = std::function<void()>;

  // Takes over the descriptor and makes it non-blocking. `on_closed` is called once, from the loop
  // and never from inside another call, when the far side closed or failed or when its output grew
  // beyond 8 MiB; it may destroy the stream. Nothing is called after destruction.
  Stream(Loop& loop, base::Descriptor fd, OnBytes on_bytes, OnClosed on_closed);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // Queues the bytes behind all earlier ones; they leave at once where nothing is in the way. With
  // `pause_ms` they leave no earlier than that long after they reached the head of the queue.
  void send(std::string_view bytes, uint32_t pause_ms = 0);

 private:
  struct Piece {
    std::string bytes;
    uint32_t pause_ms;
  };

  void ready(short revents);
  void read_input();
  void flush();
  void fail();

  Loop& loop_;
  base::Descriptor fd_;
  OnBytes on_bytes_;
  OnClosed on_closed_;
  std::deque<Piece> output_;
  size_t queued_ = 0;
  uint64_t pause_timer_ = 0;
  bool failed_ = false;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace camera_service
