#include "media/channel/transfer_requests.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/text.h"
#include "flightlink/frame/messages.h"
#include "flightlink/frame/payload.h"
#include "media/card/store.h"
#include "media/channel/file_sender.h"
#include "media/channel/list_sender.h"
#include "media/channel/thumbnail_maker.h"
#include "media/channel/transfer_notices.h"
#include "media/channel/video_streamer.h"
#include "media/movie/duration.h"
#include "media/photo/exif.h"

namespace media {
namespace {

using base::kRelaxed;
constexpr size_t kTextSize = 120;

enum Operation : uint8_t {
  kSize = 0,
  kDownload = 1,
  kDelete = 2,
  kCancel = 4,
  kPlay = 5,
  kResume = 6,
  kPause = 7,
  kSeek = 8,
};

// A request as its handler reads it.
struct FileRequest {
  uint8_t kind;
  uint8_t operation;
  char name[kTextSize];
  int64_t argument;  // never negative
};

void take_text(const uint8_t* from, char (&to)[kTextSize]) {
  std::memcpy(to, from, kTextSize - 1);
  to[kTextSize - 1] = '\0';
}

FileRequest read_request(const flightlink::MavlinkMessage& message) {
  const flightlink::Payload payload(message);
  FileRequest request{};
  request.kind = payload.bytes[1];
  request.operation = payload.bytes[122];
  take_text(payload.bytes + 2, request.name);
  char argument[kTextSize];
  take_text(payload.bytes + 123, argument);
  request.argument = std::max<int64_t>(std::strtoll(argument, nullptr, 10), 0);
  return request;
}

int32_t milliseconds(const FileRequest& request) {
  return static_cast<int32_t>(
      std::min<int64_t>(request.argument, std::numeric_limits<int32_t>::max()));
}

void queue_frame(const flightlink::MavlinkMessage& message, TransferHandler handler,
                 TransferContext* context) {
  TransferWork work{};
  std::memcpy(work.frame, &message, sizeof(message));
  transfer_queue(work, handler, 0, 1, context);
}

void set_paused(TransferContext* context, int32_t value) {
  const base::Lock lock(media_store.lock);
  context->paused.store(value, kRelaxed);
}

void file_message(const flightlink::MavlinkMessage& message, TransferContext* context) {
  if (get_tagging_busy() != 0) return;
  const FileRequest request = read_request(message);
  const bool video = request.kind == MEDIA_VIDEO;
  switch (request.operation) {
    case kCancel:
      context->cancel.store(1, kRelaxed);
      return;
    case kPause:
      if (video) set_paused(context, 1);
      return;
    case kResume:
      if (video) set_paused(context, 0);
      return;
    case kSeek:
      if (video) {
        const base::Lock lock(media_store.lock);
        context->seek_pending.store(1, kRelaxed);
        context->seek_time.store(milliseconds(request), kRelaxed);
      }
      return;
    default:
      queue_frame(message, transfer_request, context);
  }
}

// Arguments of what a request leads to.
TransferWork make_work(const FileRequest& request, const char* path) {
  TransferWork work{};
  work.offset = request.argument;
  work.kind = request.kind;
  base::format_text(work.path, "%s", path);
  base::format_text(work.name, "%s", request.name);
  return work;
}

void answer_size(const char* path) {
  char seconds[32] = "";
  (void)media_video_duration(path, seconds, sizeof(seconds));
  transfer_notify_size(media_file_size(path), seconds);
}

int32_t delete_file(const char* name, int32_t kind) {
  char thumbnail[kTextSize];
  base::format_text(thumbnail, "%s", name);
  {
    const base::Lock lock(media_store.lock);
    if (media_delete_file(name, kind) != 0) return -1;
  }
  transfer_notify_removed(name);
  if (media_thumb_name(thumbnail, sizeof(thumbnail)) != 0) return 0;
  const base::Lock lock(media_store.lock);
  (void)media_delete_file(thumbnail, MEDIA_THUMB);
  return 0;
}

int32_t start_play(const FileRequest& request, const char* path, TransferContext* context) {
  if (request.kind != MEDIA_VIDEO) return -1;
  {
    const base::Lock lock(media_store.lock);
    context->seek_pending.store(0, kRelaxed);
    context->seek_time.store(milliseconds(request), kRelaxed);
    context->paused.store(0, kRelaxed);
  }
  transfer_queue(make_work(request, path), video_streamer, 1, 1, context);
  return 0;
}

}  // namespace

void transfer_dispatch(const flightlink::MavlinkMessage& message, TransferContext* context) {
  if (message.msgid == flightlink::kParameterListRequest.id) {
    queue_frame(message, media_send_file_list, context);
  } else if (message.msgid == flightlink::kDataStream.id) {
    const flightlink::Payload payload(message);
    const int32_t on = payload.bytes[3];
    context->stream_hold_id.store(on, kRelaxed);
    context->stream_hold.store(on != 0 ? 1 : 0, kRelaxed);
  } else if (message.msgid == flightlink::kMediaFile.id) {
    file_message(message, context);
  }
}

int32_t transfer_request(WorkItem* item, TransferContext* context) {
  flightlink::MavlinkMessage message;
  std::memcpy(&message, item->work.frame, sizeof(message));
  const FileRequest request = read_request(message);
  // A thumbnail is asked for by the name of its photo or video.
  char name[kTextSize];
  base::format_text(name, "%s", request.name);
  if (request.kind == MEDIA_THUMB) (void)media_thumb_name(name, sizeof(name));

  char path[kMediaPathSize];
  int32_t found = -1;
  {
    const base::Lock lock(media_store.lock);
    found = media_lookup_path(name, request.kind, path, sizeof(path));
  }
  if (found != 0) {
    transfer_notify_not_found();
    if (request.kind != MEDIA_THUMB) return -1;
    transfer_queue(make_work(request, ""), thumbnail_maker, 0, 1, context);
    return 0;
  }
  switch (request.operation) {
    case kSize:
      answer_size(path);
      return 0;
    case kDownload:
      transfer_queue(make_work(request, path), file_sender, 1, 1, context);
      return 0;
    case kDelete:
      return delete_file(name, request.kind);
    case kPlay:
      return start_play(request, path, context);
    default:
      return 0;
  }
}

}  // namespace media
