// Any datagrams on the media channel to the ground station's client, while it asks for a size, a list,
// a thumbnail, a removal, or downloads: the whole client, its receiver included, without a network
// and without a clock of its own.
//
// The first byte of the input is what is asked for; then each step is one byte (Step) and what it
// needs. Frames are numbered as the camera does it, unless the step says otherwise.
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "fake_base/fake_base.h"
#include "flightlink/frame/messages.h"
#include "fuzz/memory_store.h"
#include "fuzz/messages.h"
#include "fuzz/support.h"
#include "groundstation/media/client.h"

namespace {

using namespace groundstation;  // NOLINT
using Bytes = std::vector<uint8_t>;

enum Step : uint8_t {
  kNotice,   // how many numbers are left out, the text up to a newline
  kRecord,   // the same, kind, count, number, the name up to a newline
  kData,     // channel, size (2), contents
  kTime,     // milliseconds
  kBytes,    // length, bytes
  kMessage,  // channel, a message (take_message)
  kSteps,
};

enum Request : uint8_t { kSize, kList, kRemove, kThumbnail, kCancel, kDownload, kRequests };

constexpr const char* kName = "a.MP4";
constexpr uint64_t kPatienceUs = 3000000;
constexpr size_t kLargestDatagram = 8192;
constexpr size_t kMostRecords = 2000;

fuzz::Input* camera = nullptr;
uint8_t sequence = 0;
std::vector<Bytes> arrived;  // and not yet taken by the receiver
base::ThreadBody receiver = nullptr;
void* receiver_argument = nullptr;
bool receiving = false;

struct NothingMore {};  // leaves the receiver's loop, which has no other end

void arrive(uint8_t channel, std::string_view rest) {
  Bytes datagram{channel};
  datagram.insert(datagram.end(), rest.begin(), rest.end());
  datagram.resize(std::min(datagram.size(), kLargestDatagram));
  arrived.push_back(std::move(datagram));
}

void arrive_frame(uint8_t skipped, flightlink::MavlinkMessage frame, uint8_t channel = 0) {
  sequence = static_cast<uint8_t>(sequence + 1 + skipped % 4);
  frame.seq = sequence;
  fuzz::seal(frame);
  arrive(channel, fuzz::wire_bytes(frame));
}

void put_text(flightlink::MavlinkMessage& frame, size_t at, std::span<const uint8_t> text) {
  const size_t room = frame.len > at ? frame.len - at : 0;
  std::copy_n(text.begin(), std::min(text.size(), room), frame.payload + at);
}

void take_notice() {
  flightlink::MavlinkMessage frame{};
  frame.msgid = flightlink::kFirmwareTransfer.id;
  frame.len = flightlink::kFirmwareTransfer.length;
  const uint8_t skipped = camera->byte();
  put_text(frame, 3, camera->until('\n'));
  arrive_frame(skipped, frame);
}

void take_record() {
  flightlink::MavlinkMessage frame{};
  frame.msgid = flightlink::kParameterValue.id;
  frame.len = flightlink::kParameterValue.length;
  const uint8_t skipped = camera->byte();
  base::store_f32le(frame.payload, camera->byte());
  base::store_u16le(frame.payload + 4, camera->word() % kMostRecords);
  base::store_u16le(frame.payload + 6, camera->word());
  put_text(frame, 24, camera->until('\n'));
  arrive_frame(skipped, frame);
}

void take_data() {
  const uint8_t channel = camera->byte();
  const size_t size = camera->word() % kLargestDatagram;
  arrive(channel < 4 ? channel : kMediaFileChannel,
         std::string(size, static_cast<char>(camera->byte())));
}

void take_step() {
  switch (static_cast<Step>(camera->byte() % kSteps)) {
    case kNotice:
      return take_notice();
    case kRecord:
      return take_record();
    case kData:
      return take_data();
    case kTime:
      return fake_base::advance_us(uint64_t{camera->byte()} * 1000);
    case kBytes: {
      const auto bytes = camera->piece(camera->byte());
      arrived.emplace_back(bytes.begin(), bytes.end());
      return;
    }
    default: {
      const uint8_t channel = camera->byte();
      return arrive_frame(0, fuzz::take_message(*camera), channel % 2);
    }
  }
}

// What the receiver's thread would do about what has arrived.
void receive() {
  receiving = true;
  try {
    receiver(receiver_argument);
  } catch (const NothingMore&) {
  }
  receiving = false;
}

// The client waits: the camera's next step, or, when there is none, time.
int wait(pollfd* inputs, int timeout_ms) {
  if (camera == nullptr || camera->empty()) {
    fake_base::advance_us(static_cast<uint64_t>(std::max(timeout_ms, 1)) * 1000);
    return 0;
  }
  take_step();
  fake_base::advance_us(100);
  if (arrived.empty() || inputs[2].fd < 0) return 0;
  receive();
  inputs[2].revents = POLLIN;
  return 1;
}

// One for the process: its receiver cannot end.
MediaLink& open_link() {
  static CameraLink camera_link(LinkOptions{});
  static auto* link = new MediaLink(camera_link);
  fuzz::check(camera_link.open().empty() && link->open(kMediaPort).empty(), "no link");
  receiver = fake_base::threads().back().body;
  receiver_argument = fake_base::threads().back().argument;
  return *link;
}

// What an earlier input has left in the ring.
void drain(MediaLink& link) {
  MediaEvent event;
  while (link.next(0, &event) == Wait::kMatched) {
  }
}

void ask(MediaClient& client, Request request, size_t size) {
  MediaSize found;
  std::vector<std::string> names;
  std::string cancelled;
  switch (request) {
    case kSize:
      client.size(MediaKind::kVideo, kName, &found);
      return;
    case kList:
      if (client.list(MediaKind::kPhoto, &names) != MediaResult::kDone) return;
      for (const std::string& name : names) {
        fuzz::check(!name.empty() && name.size() <= 30, "a name in the list", name);
      }
      return;
    case kRemove:
      client.remove(MediaKind::kPhoto, kName);
      return;
    case kThumbnail:
      client.make_thumbnail(kName, &found);
      return;
    case kCancel:
      client.cancel(&cancelled);
      fuzz::check(cancelled.size() < 255, "a name", cancelled);
      return;
    default: {
      fuzz::MemoryStore memory(size);
      MediaDownload download(size, 0, memory);
      const MediaResult result = client.download(MediaKind::kVideo, kName, &download, [] {});
      fuzz::check(result != MediaResult::kDone || download.done(), "the end of a download");
    }
  }
}

}  // namespace

extern "C" {

int __wrap_socket(int, int, int) { return fuzz::kPeerWire; }
int __wrap_bind(int, const sockaddr*, socklen_t) { return 0; }
int __wrap_connect(int, const sockaddr*, socklen_t) { return 0; }
int __wrap_getsockname(int, sockaddr*, socklen_t*) { return 0; }
int __wrap_setsockopt(int, int, int, const void*, socklen_t) { return 0; }
ssize_t __wrap_recvfrom(int, void*, size_t, int, sockaddr*, socklen_t*) { return -1; }

int __wrap_poll(pollfd* inputs, nfds_t count, int timeout_ms) {
  if (receiving) throw NothingMore{};
  return count == 3 ? wait(inputs, timeout_ms) : 0;
}

int __wrap_recvmmsg(int, mmsghdr* headers, unsigned count, int, timespec*) {
  unsigned taken = 0;
  for (; taken < count && taken < arrived.size(); taken++) {
    const iovec& part = *headers[taken].msg_hdr.msg_iov;
    const Bytes& datagram = arrived[taken];
    fuzz::check(part.iov_len >= datagram.size(), "room for a datagram");
    std::copy(datagram.begin(), datagram.end(), static_cast<uint8_t*>(part.iov_base));
    headers[taken].msg_len = static_cast<unsigned>(datagram.size());
  }
  arrived.erase(arrived.begin(), arrived.begin() + taken);
  if (taken > 0) return static_cast<int>(taken);
  errno = EAGAIN;
  return -1;
}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  camera = nullptr;
  fake_base::reset();
  static MediaLink& link = open_link();
  drain(link);
  arrived.clear();
  fuzz::on_send([](int, std::span<const uint8_t> frame) {
    fuzz::check_frame(frame);
    return true;
  });
  fuzz::Input input(bytes, size);
  camera = &input;
  sequence = 0;
  const auto request = static_cast<Request>(input.byte() % kRequests);
  MediaClient client(link, kPatienceUs);
  ask(client, request, request == kDownload ? input.word() : 0);
  camera = nullptr;
  return 0;
}
}
