// Owners of what FFmpeg's libraries allocate, so that an early return is always safe. Null means
// none; one thread per object.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace media {

struct InputCloser {
  void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
// An input that avformat_open_input has opened. A reader of one's own (pb) has to live longer.
using OwnedInput = std::unique_ptr<AVFormatContext, InputCloser>;

struct ReaderCloser {
  void operator()(AVIOContext* reader) const {
    av_freep(&reader->buffer);  // the library may have put another one in its place
    avio_context_free(&reader);
  }
};
// A custom reader made by avio_alloc_context.
using OwnedReader = std::unique_ptr<AVIOContext, ReaderCloser>;

struct FileOutputCloser {
  void operator()(AVFormatContext* output) const {
    avio_closep(&output->pb);
    avformat_free_context(output);
  }
};
// An output whose bytes go to a file (pb made by avio_open).
using OwnedFileOutput = std::unique_ptr<AVFormatContext, FileOutputCloser>;

struct MemoryOutputCloser {
  void operator()(AVFormatContext* output) const {
    if (output->pb != nullptr) {
      uint8_t* bytes = nullptr;
      avio_close_dyn_buf(output->pb, &bytes);
      av_free(bytes);
    }
    avformat_free_context(output);
  }
};
// An output whose bytes stay in memory (pb made by avio_open_dyn_buf).
using OwnedMemoryOutput = std::unique_ptr<AVFormatContext, MemoryOutputCloser>;

struct AvDeleter {
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using OwnedCodec = std::unique_ptr<AVCodecContext, AvDeleter>;
using OwnedFrame = std::unique_ptr<AVFrame, AvDeleter>;
using OwnedPacket = std::unique_ptr<AVPacket, AvDeleter>;
using OwnedScaler = std::unique_ptr<SwsContext, AvDeleter>;

}  // namespace media
