#include "media/channel/transfer_rig.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/text.h"
#include "media/card/store.h"

namespace {

std::function<bool(const media_test::Bytes& datagram)> refuses;

}  // namespace

// The names are the linker's (CMakeLists.txt).
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
ssize_t __real_sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size);
ssize_t __wrap_sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size) {
  const auto* first = static_cast<const uint8_t*>(bytes);
  if (refuses && refuses(media_test::Bytes(first, first + size))) {
    errno = EAGAIN;
    return -1;
  }
  return __real_sendto(fd, bytes, size, flags, to, to_size);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

namespace media_test {

using media::transfer_context;

TransferRig::TransferRig() : sender_(support::open_socket(SOCK_DGRAM)) {
  const int buffer = 1 << 20;
  setsockopt(receiver_.fd(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
  context.reset();
  context.sock = sender_.get();
  context.peer = receiver_.address();
}

TransferRig::~TransferRig() {
  refuses = nullptr;
  context.reset();
  media::media_store_reset();
}

Bytes TransferRig::next() {
  const std::vector<uint8_t> datagram = receiver_.next();
  return {datagram.begin(), datagram.end()};
}

std::vector<std::string> TransferRig::said() {
  std::vector<std::string> result;
  for (Bytes bytes = next(); !bytes.empty(); bytes = next()) result.push_back(words(bytes));
  return result;
}

std::string TransferRig::words(const Bytes& datagram) {
  if (datagram.at(0) > 1) {
    return "data " + std::to_string(datagram[0]) + " " + std::to_string(datagram.size() - 1);
  }
  const auto frame =
      support::decode({support::Bytes(datagram.begin() + 1, datagram.end()), support::Time{}});
  if (!frame) return "no frame";
  EXPECT_EQ(frame->system, 36);
  EXPECT_EQ(frame->component, 100);
  const auto text = [&](size_t at, size_t most) {
    const char* from = reinterpret_cast<const char*>(frame->payload.data()) + at;
    return std::string(from, strnlen(from, most));
  };
  if (frame->id == 22) return "list " + text(24, 30);
  return (datagram[0] == 1 ? "1 " : "") + text(3, 251);
}

void TransferRig::block() { context.sock = 0; }
void TransferRig::unblock() { context.sock = sender_.get(); }
void TransferRig::refuse(std::function<bool(const Bytes& datagram)> when) {
  refuses = std::move(when);
}

support::Frame file_request(uint8_t kind, uint8_t operation, const std::string& name,
                            const std::string& argument) {
  support::Bytes payload(243);
  payload[1] = kind;
  std::memcpy(payload.data() + 2, name.data(), std::min<size_t>(name.size(), 120));
  payload[122] = operation;
  std::memcpy(payload.data() + 123, argument.data(), std::min<size_t>(argument.size(), 120));
  return support::message(142, payload);
}

flightlink::MavlinkMessage parsed(const support::Frame& frame) {
  flightlink::MavlinkMessage message{};
  message.magic = 0xFE;
  message.len = static_cast<uint8_t>(frame.payload.size());
  message.sysid = frame.system;
  message.compid = frame.component;
  message.msgid = frame.id;
  std::memcpy(message.payload, frame.payload.data(), frame.payload.size());
  return message;
}

std::unique_ptr<media::WorkItem> make_item(const std::string& name, const std::string& path,
                                           uint16_t kind, int64_t offset) {
  auto item = std::make_unique<media::WorkItem>();
  item->notify = 1;
  item->cancel_on_new_work = 1;
  item->work.offset = offset;
  item->work.kind = kind;
  base::format_text(item->work.path, "%s", path.c_str());
  base::format_text(item->work.name, "%s", name.c_str());
  return item;
}

void run_queue() {
  while (transfer_context.queue != nullptr) media::transfer_work_once(&transfer_context);
}

}  // namespace media_test
