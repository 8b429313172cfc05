#include "media/channel/video_streamer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "media/card/store.h"
#include "media/channel/transfer_notices.h"
#include "media/movie/header.h"
#include "media/movie/index.h"
#include "media/movie/read_frame.h"
#include "media/movie/seek.h"

namespace media {
namespace {

using base::kRelaxed;
constexpr uint64_t kNoticeRetryUs = 10000;
constexpr uint64_t kSendRetryUs = 1000;
constexpr uint64_t kPausedUs = 500000;
constexpr uint32_t kFrameLimit = kPlaybackBuffer - 1;
constexpr uint32_t kPrefixSize = 4;
constexpr uint8_t kStartCode[] = {0, 0, 0, 1};

// Owns what a playback has open.
class Playback {
 public:
  Playback(const WorkItem& item, TransferContext& context) : item_(item), context_(context) {}
  ~Playback() { mov_header_free(&header_); }
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  // Whether the file is a recording and there is memory for it.
  [[nodiscard]] bool open();
  // Returns 0 at the end of the recording and when interrupted; -1 when it cannot go on.
  int32_t run();

 private:
  [[nodiscard]] bool interrupted() const { return transfer_interrupted(item_, context_); }
  // Goes to the key frame of `seek_time`, says so and makes the parameter sets the current frame.
  [[nodiscard]] bool seek(bool first);
  void say_time(int32_t seek_time) const;
  [[nodiscard]] bool load_parameter_sets();
  void append(const uint8_t* bytes, size_t count);
  // Such a sample has an offset, but nothing of it lies there.
  [[nodiscard]] bool is_behind_last(uint32_t sample) const {
    return sample >= mov_video_track(index_.get())->stsz.count;
  }
  [[nodiscard]] bool take_seek();
  // Sends the next datagram of the current frame, or pauses.
  void send_piece();
  [[nodiscard]] int64_t send_whole();
  [[nodiscard]] int64_t send_chunk();
  [[nodiscard]] bool next_frame();

  const WorkItem& item_;
  TransferContext& context_;
  base::File file_;
  MovHeader header_{};
  MovIndexOwner index_;
  // The channel's byte and then the frame. Both sends use this layout; see the header.
  std::unique_ptr<uint8_t[]> buffer_;
  size_t frame_left_ = 0;  // bytes of the current frame that have not been sent
  size_t chunk_at_ = 0;    // where the next chunk starts in the buffer
  uint32_t sample_ = 0;    // counted from 0
  uint64_t position_ = 0;  // of the file
  uint64_t previous_ = 0;  // offset of the sample before the next one
  uint64_t mdat_left_ = 0;
  bool at_end_ = false;
};

bool Playback::open() {
  file_.reset(std::fopen(item_.work.path, "rbe"));
  if (file_ == nullptr || mov_get_header_atom(file_.get(), &header_) != 0) return false;
  MovIndex* index = nullptr;
  if (mov_index_new(&index) != 0) return false;
  index_.reset(index);
  if (header_.moov_data == nullptr ||
      mov_walk_atoms(header_.moov_data, header_.moov_size, mov_atom_handler, index) != 0) {
    return false;
  }
  buffer_.reset(new (std::nothrow) uint8_t[kPlaybackBuffer + kMovFrameSlack]{});
  return buffer_ != nullptr;
}

int32_t Playback::run() {
  if (!seek(true)) return -1;
  for (;;) {
    if (interrupted()) return 0;
    if (take_seek()) {
      if (!seek(false)) return -1;
      continue;
    }
    if (context_.paused.load(kRelaxed) != 0) {
      base::sleep_us(kPausedUs);
      continue;
    }
    send_piece();
    if (frame_left_ > 0) continue;
    if (mdat_left_ == 0 || at_end_) {
      transfer_notify_complete(item_.work.name);
      return 0;
    }
    if (!next_frame()) return -1;
  }
}

bool Playback::seek(bool first) {
  int32_t seek_time = 0;
  {
    const base::Lock lock(media_store.lock);
    seek_time = context_.seek_time.load(kRelaxed);
  }
  const uint32_t number = mov_time_to_keyframe(static_cast<uint32_t>(seek_time), index_.get());
  sample_ = number == 0 ? 0 : number - 1;
  position_ = mov_sample_offset(sample_, index_.get());
  previous_ = first ? position_ : 0;
  at_end_ = is_behind_last(sample_);
  if (!at_end_ && fseeko(file_.get(), static_cast<off_t>(position_), SEEK_SET) != 0) return false;
  say_time(seek_time);
  const uint64_t mdat_end = header_.mdat_offset + header_.mdat_size;
  mdat_left_ = mdat_end > position_ ? mdat_end - position_ : 0;
  return load_parameter_sets();
}

void Playback::say_time(int32_t seek_time) const {
  const uint32_t time_scale = mov_video_track(index_.get())->mdhd.time_scale;
  while (transfer_notify_play(seek_time, time_scale) < 1 && !interrupted()) {
    base::sleep_us(kNoticeRetryUs);
  }
}

bool Playback::load_parameter_sets() {
  const MovSampleDescription* description = mov_video_track(index_.get())->stsd.description;
  if (description == nullptr || description->next_type != mov_type("avcC") ||
      description->avc == nullptr) {
    return false;
  }
  const MovAvcConfiguration& avc = *description->avc;
  frame_left_ = 0;
  chunk_at_ = 0;
  append(kStartCode, sizeof(kStartCode));
  append(avc.sps, avc.sps_length);
  append(kStartCode, sizeof(kStartCode));
  append(avc.pps, avc.pps_length);
  return true;
}

void Playback::append(const uint8_t* bytes, size_t count) {
  if (count != 0) std::memcpy(buffer_.get() + 1 + frame_left_, bytes, count);
  frame_left_ += count;
}

bool Playback::take_seek() {
  const base::Lock lock(media_store.lock);
  return context_.seek_pending.exchange(0, kRelaxed) != 0;
}

void Playback::send_piece() {
  const bool whole = frame_left_ < kTransferDatagram && chunk_at_ == 0;
  const int64_t sent = whole ? send_whole() : send_chunk();
  if (sent < 1) {
    base::sleep_us(kSendRetryUs);
    return;
  }
  frame_left_ -= static_cast<size_t>(sent - 1);
}

int64_t Playback::send_whole() {
  buffer_[0] = kChannelPlayback;
  return transfer_send(buffer_.get(), 1 + frame_left_);
}

int64_t Playback::send_chunk() {
  uint8_t datagram[kTransferDatagram];
  const size_t count = std::min(frame_left_, kTransferChunk);
  datagram[0] = kChannelPlayback;
  // Deliberately from the channel's byte on, not from the frame's first byte.
  std::memcpy(datagram + 1, buffer_.get() + chunk_at_, count);
  const int64_t sent = transfer_send(datagram, 1 + count);
  if (sent > 0) chunk_at_ += count;
  return sent;
}

bool Playback::next_frame() {
  const int64_t taken =
      mov_read_frame(buffer_.get() + 1, kFrameLimit, &mdat_left_, kPrefixSize, file_.get());
  if (taken < 0) return false;
  frame_left_ = static_cast<size_t>(taken);
  chunk_at_ = 0;
  position_ += static_cast<uint64_t>(taken);
  sample_++;
  const uint64_t next = mov_sample_offset(sample_, index_.get());
  // Behind the last sample the index gives the last offset once more.
  if (next == previous_ || is_behind_last(sample_)) {
    at_end_ = true;
    return true;
  }
  previous_ = next;
  if (next == position_) return true;
  position_ = next;
  return fseeko(file_.get(), static_cast<off_t>(next), SEEK_SET) == 0;
}

}  // namespace

int32_t video_streamer(WorkItem* item, TransferContext* context) {
  Playback playback(*item, *context);
  return playback.open() ? playback.run() : -1;
}

}  // namespace media
