#include "camera_service/mp4_writer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

namespace camera_service {
namespace {

struct FormatCloser {
  void operator()(AVFormatContext* format) const {
    ::avio_closep(&format->pb);
    ::avformat_free_context(format);
  }
};
struct CodecCloser {
  void operator()(AVCodecContext* codec) const { ::avcodec_free_context(&codec); }
};
struct FrameCloser {
  void operator()(AVFrame* frame) const { ::av_frame_free(&frame); }
};
struct PacketCloser {
  void operator()(AVPacket* packet) const { ::av_packet_free(&packet); }
};

// Constant quality: with the noise in the picture, a second of video has a steady size.
constexpr const char* kQuantiser = "26";

}  // namespace

struct Mp4Writer::State {
  std::unique_ptr<AVFormatContext, FormatCloser> format;
  std::unique_ptr<AVCodecContext, CodecCloser> codec;
  std::unique_ptr<AVFrame, FrameCloser> frame{::av_frame_alloc()};
  std::unique_ptr<AVPacket, PacketCloser> packet{::av_packet_alloc()};
  AVStream* stream = nullptr;
  int64_t frames = 0;
  bool good = false;

  [[nodiscard]] bool open_encoder();
  [[nodiscard]] bool open_file(const std::string& path);
  [[nodiscard]] bool encode(const AVFrame* picture);
};

bool Mp4Writer::State::open_encoder() {
  const AVCodec* encoder = ::avcodec_find_encoder_by_name("libx264");
  if (encoder == nullptr) encoder = ::avcodec_find_encoder(AV_CODEC_ID_H264);
  if (encoder == nullptr) return false;
  codec.reset(::avcodec_alloc_context3(encoder));
  if (!codec) return false;
  codec->width = kWidth;
  codec->height = kHeight;
  codec->pix_fmt = AV_PIX_FMT_YUV420P;
  codec->time_base = {1, kFramesPerSecond};
  codec->framerate = {kFramesPerSecond, 1};
  codec->gop_size = kKeyFrameDistance;
  codec->max_b_frames = 0;
  codec->thread_count = 1;
  codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // Another encoder than libx264 does not know these; its defaults do.
  ::av_opt_set(codec->priv_data, "preset", "ultrafast", 0);
  ::av_opt_set(codec->priv_data, "tune", "zerolatency", 0);
  ::av_opt_set(codec->priv_data, "qp", kQuantiser, 0);
  ::av_opt_set(codec->priv_data, "x264-params", "scenecut=0", 0);
  return ::avcodec_open2(codec.get(), encoder, nullptr) >= 0;
}

bool Mp4Writer::State::open_file(const std::string& path) {
  AVFormatContext* opened = nullptr;
  if (::avformat_alloc_output_context2(&opened, nullptr, "mp4", path.c_str()) < 0) return false;
  format.reset(opened);
  if (::avio_open(&format->pb, path.c_str(), AVIO_FLAG_WRITE) < 0) return false;
  stream = ::avformat_new_stream(format.get(), nullptr);
  if (stream == nullptr) return false;
  stream->time_base = codec->time_base;
  if (::avcodec_parameters_from_context(stream->codecpar, codec.get()) < 0) return false;
  return ::avformat_write_header(format.get(), nullptr) >= 0;
}

bool Mp4Writer::State::encode(const AVFrame* picture) {
  if (::avcodec_send_frame(codec.get(), picture) < 0) return false;
  while (true) {
    const int received = ::avcodec_receive_packet(codec.get(), packet.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return true;
    if (received < 0) return false;
    packet->duration = 1;
    ::av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
    packet->stream_index = stream->index;
    if (::av_interleaved_write_frame(format.get(), packet.get()) < 0) return false;
    if (format->pb->error < 0) return false;
  }
}

Mp4Writer::Mp4Writer(const std::string& path) : state_(std::make_unique<State>()) {
  ::av_log_set_level(AV_LOG_ERROR);
  State& s = *state_;
  if (!s.frame || !s.packet || !s.open_encoder()) return;
  s.frame->format = s.codec->pix_fmt;
  s.frame->width = kWidth;
  s.frame->height = kHeight;
  if (::av_frame_get_buffer(s.frame.get(), 0) < 0) return;
  s.good = s.open_file(path);
}

Mp4Writer::~Mp4Writer() = default;

bool Mp4Writer::good() const { return state_->good; }

Canvas Mp4Writer::frame() {
  AVFrame& frame = *state_->frame;
  // The encoder may still hold the last frame's buffer.
  if (::av_frame_make_writable(&frame) < 0) state_->good = false;
  return {{frame.data[0], frame.data[1], frame.data[2]},
          {frame.linesize[0], frame.linesize[1], frame.linesize[2]},
          kWidth,
          kHeight};
}

void Mp4Writer::write_frame() {
  if (!state_->good) return;
  state_->frame->pts = state_->frames++;
  state_->good = state_->encode(state_->frame.get());
}

bool Mp4Writer::close() {
  State& s = *state_;
  if (!s.good) return false;
  s.good = false;
  const bool flushed = s.encode(nullptr);
  const bool indexed = ::av_write_trailer(s.format.get()) >= 0;
  return ::avio_closep(&s.format->pb) >= 0 && flushed && indexed;
}

}  // namespace camera_service
