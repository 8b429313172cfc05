// A camera service on the real port of a virtual board, driven step by step by the test.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "base/descriptor.h"

namespace camera_test {

using std::chrono::milliseconds;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int kSlowdown = 3;
#else
inline constexpr int kSlowdown = 1;
#endif

class LoopbackService {
 public:
  // Listens on 127.0.0.1:7878; connections that nobody accepts yet wait in the queue.
  void listen(int receive_buffer = 0);
  // Refuses connections from now on. The accepted one stays.
  void stop_listening() { listener_.reset(); }
  // Takes the next connection in place of the one before. False when none comes in that time.
  [[nodiscard]] bool accept_within(milliseconds limit);
  // The next bytes of the connection; nothing when it has ended or stays silent that long.
  [[nodiscard]] std::string read_within(milliseconds limit);
  // Reads on until the part has come. False when it does not come in that time.
  [[nodiscard]] bool wait_for(std::string_view part, milliseconds limit);
  // The connection ends within that time.
  [[nodiscard]] bool ends_within(milliseconds limit);
  void say(std::string_view bytes) const;
  // Closes the connection.
  void drop() { connection_.reset(); }
  // Ends the connection with a reset.
  void reset_connection();

 private:
  base::Descriptor listener_;
  base::Descriptor connection_;
  std::string heard_;
};

}  // namespace camera_test
