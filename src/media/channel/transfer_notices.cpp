#include "media/channel/transfer_notices.h"

#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstring>

#include "base/bytes.h"
#include "base/mutex.h"
#include "base/text.h"
#include "flightlink/frame/messages.h"
#include "media/channel/transfer_context.h"

namespace media {
namespace {

constexpr uint8_t kComponent = 100;
constexpr size_t kNoticeTextAt = 3;
constexpr size_t kNoticeTextSize = 250;  // 249 characters and the terminator
constexpr uint8_t kListRecordType = 11;

std::atomic<uint8_t> sequence;

using flightlink::MavlinkMessage;

// Holds one of the two slots of the send call.
class SendSlot {
 public:
  explicit SendSlot(base::Semaphore& slots) : slots_(slots), taken_(slots.wait()) {}
  ~SendSlot() {
    if (taken_) slots_.post();
  }
  SendSlot(const SendSlot&) = delete;
  SendSlot& operator=(const SendSlot&) = delete;
  [[nodiscard]] bool taken() const { return taken_; }

 private:
  base::Semaphore& slots_;
  bool taken_;
};

// Keeps the socket open while it is used, and has a copy of the address.
class SocketUse {
 public:
  explicit SocketUse(TransferContext& context) : context_(context) {
    const base::Lock lock(context.socket_lock);
    socket_ = context.sock;
    peer_ = context.peer;
    context.senders++;
  }
  ~SocketUse() {
    const base::Lock lock(context_.socket_lock);
    context_.senders--;
    context_.socket_unused.notify_all();
  }
  SocketUse(const SocketUse&) = delete;
  SocketUse& operator=(const SocketUse&) = delete;

  [[nodiscard]] bool usable() const { return socket_ != 0 && peer_.sin_family == AF_INET; }
  [[nodiscard]] int64_t send(const uint8_t* bytes, size_t length) const {
    return sendto(socket_, bytes, length, 0, reinterpret_cast<const sockaddr*>(&peer_),
                  sizeof(peer_));
  }

 private:
  TransferContext& context_;
  int socket_;
  sockaddr_in peer_;
};

int64_t send_message(MavlinkMessage& frame, const flightlink::MessageType& type, uint8_t channel) {
  flightlink::seal(&frame, flightlink::kSystemApplication,
                   sequence.fetch_add(1, std::memory_order_relaxed), type, kComponent);
  return transfer_send_frame(frame, channel);
}

int64_t notify(const char* text, uint8_t channel) {
  MavlinkMessage frame{};
  std::memcpy(frame.payload + kNoticeTextAt, text, strnlen(text, kNoticeTextSize - 1));
  return send_message(frame, flightlink::kFirmwareTransfer, channel);
}

int64_t notify_name(const char* word, const char* name) {
  char text[kNoticeTextSize];
  base::format_text(text, "%s:%s", word, name);
  return transfer_notify_text(text);
}

}  // namespace

int64_t transfer_send(const uint8_t* bytes, size_t length) {
  const SendSlot slot(transfer_context.send_slots);
  if (!slot.taken()) return -1;
  const SocketUse socket(transfer_context);
  return socket.usable() ? socket.send(bytes, length) : -1;
}

int64_t transfer_send_frame(const MavlinkMessage& frame, uint8_t channel) {
  uint8_t datagram[1 + flightlink::kMavlinkMaxFrame];
  datagram[0] = channel;
  const size_t length = flightlink::mavlink_frame_to_buffer(datagram + 1, &frame);
  return transfer_send(datagram, 1 + length);
}

int64_t transfer_notify_text(const char* text) { return notify(text, kChannelNotices); }

int64_t transfer_notify_stream(int32_t on) {
  return transfer_notify_text(on == 1 ? "STREAM_ON" : "STREAM_OFF");
}

int64_t transfer_notify_not_found() { return transfer_notify_text("NOTEXIST"); }

int64_t transfer_notify_removed(const char* name) { return notify_name("FREMOVED", name); }

int64_t transfer_notify_size(uint64_t bytes, const char* seconds) {
  char text[kNoticeTextSize];
  const auto size = static_cast<int64_t>(bytes);
  if (seconds[0] != '\0') {
    base::format_text(text, "%s:%" PRId64 ";%s:%s", "FSIZE", size, "DUR", seconds);
  } else {
    base::format_text(text, "%s:%" PRId64, "FSIZE", size);
  }
  return notify(text, kChannelSize);
}

int64_t transfer_notify_play(int32_t ms, uint32_t time_scale) {
  char text[kNoticeTextSize];
  base::format_text(text, "%s:%d;%s:%u", "TIME", ms, "SCALE", time_scale);
  return transfer_notify_text(text);
}

int64_t transfer_notify_start(const char* name, int32_t kind, const char* seconds) {
  char text[kNoticeTextSize];
  if (seconds[0] != '\0') {
    base::format_text(text, "%s:%s;%s:%d;%s:%s", "TRANSSTART", name, "FTYPE", kind, "DUR", seconds);
  } else {
    base::format_text(text, "%s:%s;%s:%d", "TRANSSTART", name, "FTYPE", kind);
  }
  return transfer_notify_text(text);
}

int64_t transfer_notify_cancelled(const char* name) { return notify_name("TRANSCANCELED", name); }
int64_t transfer_notify_complete(const char* name) { return notify_name("TRANSCOMPLETE", name); }
int64_t transfer_notify_thumb_ready(const char* name) { return notify_name("THUMBREADY", name); }
int64_t transfer_notify_thumb_error(const char* name) { return notify_name("THUMBERROR", name); }

int64_t transfer_send_list_record(int32_t kind, size_t count, size_t index, const char* name) {
  const bool photos = kind == MEDIA_PHOTO;
  MavlinkMessage frame{};
  base::store_f32le(frame.payload, photos ? 1.0F : 3.0F);
  base::store_u16le(frame.payload + 4, static_cast<uint16_t>(count));
  base::store_u16le(frame.payload + 6, static_cast<uint16_t>(index));
  char id[17];
  std::memcpy(
      frame.payload + 8, id,
      std::min<size_t>(base::format_text(id, "%s%zu", photos ? "PIC" : "VIDEO", index), 16));
  std::memcpy(frame.payload + 24, name, strnlen(name, 29));
  frame.payload[54] = kListRecordType;
  return send_message(frame, flightlink::kParameterValue, kChannelNotices);
}

}  // namespace media
