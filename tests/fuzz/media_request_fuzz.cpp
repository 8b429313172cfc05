// Any bytes as datagrams on the media channel, with the work that they lead to, on a card with a
// photo, a thumbnail and a video. The first byte of the input says how many bytes each datagram
// has.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fake_base/fake_base.h"
#include "media/card/store.h"
#include "media/channel/transfer_context.h"
#include "media/channel/transfer_requests.h"

using namespace media;  // NOLINT

namespace {

// Loopback sockets and the files; made once.
struct Card {
  Card() {
    char name[] = "/tmp/media_request_fuzz.XXXXXX";
    folder = mkdtemp(name);
    receiver = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    bind(receiver, reinterpret_cast<const sockaddr*>(&address), size);
    getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &size);
    sender = socket(AF_INET, SOCK_DGRAM, 0);
    application = address;
  }
  ~Card() { std::filesystem::remove_all(folder); }
  Card(const Card&) = delete;
  Card& operator=(const Card&) = delete;

  void fill() {
    media_store_reset();
    for (int32_t kind = MEDIA_PHOTO; kind <= MEDIA_VIDEO; kind++) {
      const std::string name = std::string(kind == MEDIA_VIDEO ? "a.MP4" : "a_p.JPG");
      const std::string path = folder + "/" + std::to_string(kind) + name;
      if (!std::filesystem::exists(path)) std::ofstream(path) << std::string(9000, 'x');
      media_add_file(kind == MEDIA_PHOTO ? "a.JPG" : name.c_str(), path.c_str(), kind);
    }
    transfer_context.reset();
    {
      const base::Lock lock(transfer_context.socket_lock);
      transfer_context.sock = sender;
      transfer_context.peer = application;
    }
    sleeps = 0;
    fake_base::reset();
    // Nothing here waits for ever: what waits for a link or for the end of a pause is cancelled.
    fake_base::on_sleep([this](uint64_t) {
      if (++sleeps > 20) transfer_context.cancel.store(1);
    });
  }

  std::string folder;
  int receiver = -1;
  int sender = -1;
  sockaddr_in application{};
  int sleeps = 0;
};

bool work_waits() {
  const base::Lock lock(media_store.lock);
  return transfer_context.queue != nullptr;
}

void run_queue() {
  for (int i = 0; i < 64 && work_waits(); i++) transfer_work_once(&transfer_context);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static Card card;
  if (size == 0) return 0;
  card.fill();
  const size_t piece = size_t{bytes[0]} + 1;
  flightlink::MavlinkMessage message{};
  message.magic = flightlink::kMavlinkStart;
  for (size_t at = 1; at < size; at += piece) {
    // A frame whose checksum was right: finding one is not what is searched for here.
    const size_t length = std::min(piece, size - at);
    constexpr uint8_t kIds[] = {142, 142, 142, 21, 67};
    message.msgid = kIds[bytes[at] % sizeof(kIds)];
    message.compid = bytes[at];
    message.len = static_cast<uint8_t>(std::min<size_t>(length, 255));
    std::copy_n(bytes + at, message.len, message.payload);
    transfer_dispatch(message, &transfer_context);
    if (at % 3 == 0) run_queue();
  }
  run_queue();
  return 0;
}
