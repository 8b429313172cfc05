#include "media/remux/stream.h"

#include <algorithm>
#include <cstring>

#include "base/clock.h"
#include "base/relaxed.h"
#include "base/shell.h"
#include "media/frames/frame_list.h"
#include "media/movie/av_input.h"
#include "media/movie/av_messages.h"
#include "media/remux/job.h"
#include "media/remux/stamp.h"

namespace media {
namespace {

using base::kRelaxed;
constexpr int kReaderBuffer = 2097152;
constexpr int kReadTries = 500;
constexpr uint64_t kReadPauseUs = 1000;
constexpr int64_t kProbeUs = 1000000;

bool stopped() { return remux_job.stop.load(kRelaxed) == 1; }

uint32_t frame_rate() {
  const uint32_t fps = remux_job.fps.load(kRelaxed);
  return fps == 0 ? kRemuxDefaultFps : fps;
}

// libavformat's custom read: one packet per call. `opaque` is a bool that is set when it gives up.
int read_pushed(void* opaque, uint8_t* to, int wanted) {
  for (int i = 0; i < kReadTries && !stopped(); i++) {
    FrameNode* packet = remux_pop_packet();
    if (packet != nullptr) {
      // What does not fit into the request is lost, deliberately: the job takes whole packets.
      const int size = std::min(wanted, packet->size);
      std::memcpy(to, packet->data, static_cast<size_t>(size));
      frame_node_free(packet);
      return size;
    }
    base::sleep_us(kReadPauseUs);
  }
  *static_cast<bool*>(opaque) = true;
  return -1;
}

OwnedReader make_reader(bool* gave_up) {
  auto* buffer = static_cast<uint8_t*>(av_malloc(kReaderBuffer));
  if (buffer == nullptr) return nullptr;
  OwnedReader reader(
      avio_alloc_context(buffer, kReaderBuffer, 0, gave_up, read_pushed, nullptr, nullptr));
  if (reader == nullptr) {
    av_free(buffer);
  } else {
    // Otherwise the library asks for as little as 32 KiB when its buffer is nearly full.
    reader->max_packet_size = kReaderBuffer;
  }
  return reader;
}

// Probes what is pushed. Null on failure, which includes a reader that gave up on the way: the
// library itself is content with what it has seen until then.
OwnedInput open_pushed(AVIOContext* reader, const bool& gave_up) {
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) return nullptr;
  context->pb = reader;
  remux_report(kRemuxStarted);
  // Frees the context when it fails.
  if (avformat_open_input(&context, nullptr, nullptr, nullptr) < 0) return nullptr;
  OwnedInput input(context);
  input->max_analyze_duration = kProbeUs;
  if (avformat_find_stream_info(input.get(), nullptr) < 0 || gave_up) return nullptr;
  return input;
}

// The output with its header written; null on failure.
OwnedFileOutput open_output(const AVStream& video) {
  AVFormatContext* context = nullptr;
  if (avformat_alloc_output_context2(&context, nullptr, "h264", remux_job.path) < 0) return nullptr;
  OwnedFileOutput output(context);
  AVStream* stream = avformat_new_stream(context, nullptr);
  if (stream == nullptr || avcodec_parameters_copy(stream->codecpar, video.codecpar) < 0) {
    return nullptr;
  }
  stream->codecpar->codec_tag = 0;
  dump_av_output(*output, remux_job.path);
  if (avio_open(&context->pb, remux_job.path, AVIO_FLAG_WRITE) < 0) return nullptr;
  if (avformat_write_header(context, nullptr) < 0) return nullptr;
  return output;
}

// Until the job is stopped, the input ends or the output fails.
void copy_packets(AVFormatContext& input, const AVStream& video, AVFormatContext& output) {
  const OwnedPacket packet(av_packet_alloc());
  const uint32_t fps = frame_rate();
  const AVStream& target = *output.streams[0];
  uint32_t waited = 0;
  int64_t written = 0;
  while (packet != nullptr && !stopped()) {
    av_packet_unref(packet.get());
    if (av_read_frame(&input, packet.get()) < 0) return;
    if (packet->stream_index != video.index) continue;
    if (written == 0 && (packet->flags & AV_PKT_FLAG_KEY) == 0) {
      if (++waited % fps == 0) remux_report(kRemuxWaiting);
      continue;
    }
    remux_stamp(*packet, written++, fps, video.time_base, target.time_base);
    packet->stream_index = target.index;
    if (av_interleaved_write_frame(&output, packet.get()) < 0) return;
  }
}

}  // namespace

bool remux_stream() {
  bool gave_up = false;
  const OwnedReader reader = make_reader(&gave_up);
  if (reader == nullptr) return false;
  const OwnedInput input = open_pushed(reader.get(), gave_up);
  AVStream* video = input == nullptr ? nullptr : first_video_stream(*input);
  if (video == nullptr) return false;
  video->avg_frame_rate = {static_cast<int>(std::min<uint32_t>(frame_rate(), INT32_MAX)), 1};
  video->r_frame_rate = video->avg_frame_rate;
  const OwnedFileOutput output = open_output(*video);
  if (output == nullptr) return false;
  remux_report(kRemuxWriting);
  copy_packets(*input, *video, *output);
  av_write_trailer(output.get());
  base::run_shell("sync");
  return true;
}

}  // namespace media
