// Any bytes on the serial line, from the flight controller: cut into reads, parsed, passed on to the
// application or obeyed. Each step of the input is a byte: an even one is followed by a message
// (take_message), whose frame comes on the line, an odd one by a length and so many bytes of noise.
//
// The application gets frames of the line only, as they are and in their order.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "base/descriptor.h"
#include "flightlink/links/serial_link.h"
#include "fuzz/aircraft.h"

namespace {

using namespace flightlink;  // NOLINT

// What comes on a line, without a line's limits.
class Line {
 public:
  Line() {
    int ends[2] = {-1, -1};
    fuzz::check(pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0, "no pipe");
    near_.reset(ends[0]);
    far_.reset(ends[1]);
  }
  [[nodiscard]] int near() const { return near_.get(); }
  void bring(std::string_view bytes) const {
    while (!bytes.empty()) {
      const std::string_view now = bytes.substr(0, 4096);
      fuzz::check(write(far_.get(), now.data(), now.size()) == static_cast<ssize_t>(now.size()),
                  "the line of the target itself");
      bytes.remove_prefix(now.size());
      for (size_t read = 0; read < now.size(); read += 1024) serial_link_serve();
    }
  }

 private:
  base::Descriptor near_;
  base::Descriptor far_;
};

std::string take_line(fuzz::Input& input) {
  std::string line;
  while (!input.empty()) {
    if (input.byte() % 2 == 0) {
      line += fuzz::wire_bytes(fuzz::take_message(input));
    } else {
      line += fuzz::text_of(input.piece(input.byte()));
    }
  }
  return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const Line line;
  fuzz::reset_aircraft();
  serial_link.reset();
  serial_link.fd.store(line.near());
  // Longer than any frame: the reader's parser is between two.
  line.bring(std::string(300, '\0'));
  fuzz::Input input(bytes, size);
  const std::string arrived = take_line(input);
  size_t passed = 0;
  fuzz::on_send([&](int wire, std::span<const uint8_t> sent) {
    if (wire == fuzz::kCameraWire) fuzz::check_camera_text(fuzz::text_of(sent));
    if (wire != fuzz::kAppWire) return true;
    fuzz::check_frame(sent);
    const size_t at = arrived.find(fuzz::text_of(sent), passed);
    fuzz::check(at != std::string::npos, "a frame that was not on the line, or in another order");
    passed = at + sent.size();
    return true;
  });
  line.bring(arrived);
  return 0;
}
