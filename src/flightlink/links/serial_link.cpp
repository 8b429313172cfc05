#include "flightlink/links/serial_link.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>

#include "base/bytes.h"
#include "base/clock.h"
#include "base/descriptor.h"
#include "base/relaxed.h"
#include "base/thread.h"
#include "camera/commands.h"
#include "flightlink/frame/command_long.h"
#include "flightlink/frame/messages.h"
#include "flightlink/frame/payload.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/link_context.h"
#include "flightlink/wire/serial_line.h"
#include "supervisor/state/camera_flags.h"

namespace flightlink {

SerialLink serial_link{};

namespace {

using base::kRelaxed;
constexpr const char* kTestMarker = "/tmp/SD0/KRVMEDIA/testmode.conf";
constexpr int kPollMs = 2000;
constexpr size_t kReadSize = 1024;

constexpr uint8_t kCameraController = 2;  // system id of the one whose commands end here

void obey(const CommandLong& command) {
  if (command.command != kCommandDigicam) return;
  switch (parameter(command.param[6])) {
    case 2:
      supervisor::set_record_ack_via_uart(0);
      camera::cam_stop_record();
      return;
    case 3:
      supervisor::set_record_ack_via_uart(1);
      camera::cam_record_request();
      return;
    default:
      return;
  }
}

// SCHED_RR 2. The only reader of the line, which is never closed; its parser is its own. Writes to
// KRConnFd under the send lock. Never ends.
void* serial_reader_thread(void*) {
  base::detach_self();
  for (;;) serial_link_serve();
  return nullptr;
}

int open_line(base::Descriptor* line) {
  line->reset(serial_line_open(kSerialLinePath, O_NONBLOCK));
  if (!line->open()) {
    std::perror("open_port error");
    return -1;
  }
  if (serial_line_set_opt(line->get(), kSerialLineSpeed, 8, 'N', 1, kParityInputBridge) != 0) {
    std::perror("set_opt error");
    return -1;
  }
  return 0;
}

}  // namespace

int serial_link_start() {
  if (access(kTestMarker, F_OK) == 0) return 0;
  base::Descriptor line;
  if (open_line(&line) != 0) return -1;
  serial_link.fd.store(line.get(), kRelaxed);
  if (base::start_worker(serial_reader_thread, nullptr, 2, &serial_link.reader) != 0) {
    serial_link.fd.store(0, kRelaxed);
    return -1;
  }
  (void)line.release();
  return 0;
}

int serial_write(const void* bytes, size_t length) {
  const int fd = serial_link.fd.load(kRelaxed);
  if (fd == 0) return -1;
  return static_cast<int>(write(fd, bytes, length));
}

void serial_link_serve() {
  static MavlinkParser parser;  // reader thread only
  const int fd = serial_link.fd.load(kRelaxed);
  pollfd readable{fd, POLLIN, 0};
  const int ready = poll(&readable, 1, kPollMs);
  if (ready < 0) std::perror("select failed!");
  if (ready < 1) return;
  uint8_t bytes[kReadSize] = {};
  const ssize_t received = read(fd, bytes, sizeof(bytes));
  if (received < 1) {
    // A line that has hung up stays readable for ever; this thread must not take the processor for
    // it.
    base::sleep_ms(10);
    return;
  }
  MavlinkMessage message;
  MavlinkParseStatus status;
  for (ssize_t i = 0; i < received; i++) {
    if (mavlink_parser_feed(&parser, bytes[i], &message, &status) == 1) serial_link_route(&message);
  }
}

void serial_link_route(const MavlinkMessage* message) {
  const Payload payload(*message);
  if (message->msgid == kCommandLong.id && message->sysid == kCameraController) {
    obey(read_command_long(payload));
    return;
  }
  // Of a COMMAND_LONG it is param2; stored all the same, as the flight controller relies on it.
  if (message->msgid == kLocalPosition.id || message->msgid == kCommandLong.id) {
    store_altitude_from_32(base::saturate<int32_t>(base::load_f32le(payload.bytes + 4)));
  }
  mavlink_send(message);
}

}  // namespace flightlink
