#include "media/movie/thumbnail.h"

#include <utility>

#include "media/card/file_replace.h"
#include "media/movie/av_input.h"

namespace media {
namespace {

OwnedCodec open_decoder(const AVCodecParameters& parameters) {
  const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
  OwnedCodec decoder(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  if (decoder == nullptr) return nullptr;
  decoder->thread_count = 1;  // more threads would take their time from live video
  if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0) return nullptr;
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
  return decoder;
}

// The next packet of the stream; false at the end of the input, or at an error, which ends it too.
bool read_packet(AVFormatContext& input, int stream, AVPacket& packet) {
  while (true) {
    av_packet_unref(&packet);
    if (av_read_frame(&input, &packet) < 0) return false;
    if (packet.stream_index == stream) return true;
  }
}

OwnedFrame first_picture(AVFormatContext& input) {
  const AVStream* stream = first_video_stream(input);
  if (stream == nullptr) return nullptr;
  const OwnedCodec decoder = open_decoder(*stream->codecpar);
  const OwnedPacket packet(av_packet_alloc());
  OwnedFrame picture(av_frame_alloc());
  if (decoder == nullptr || packet == nullptr || picture == nullptr) return nullptr;
  // Packets that do not decode are passed over: a damaged start still leaves a picture.
  while (read_packet(input, stream->index, *packet)) {
    (void)avcodec_send_packet(decoder.get(), packet.get());
    if (avcodec_receive_frame(decoder.get(), picture.get()) == 0) return picture;
  }
  // A decoder that reorders pictures may still hold the only ones.
  (void)avcodec_send_packet(decoder.get(), nullptr);
  if (avcodec_receive_frame(decoder.get(), picture.get()) == 0) return picture;
  return nullptr;
}

// The format that a JPEG stores: the same one with full range. Others stay as they are.
AVPixelFormat full_range(AVPixelFormat format) {
  constexpr AVPixelFormat kFullRange[][2] = {{AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P},
                                             {AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVJ422P},
                                             {AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUVJ444P},
                                             {AV_PIX_FMT_YUV440P, AV_PIX_FMT_YUVJ440P}};
  for (const auto& [limited, full] : kFullRange) {
    if (format == limited) return full;
  }
  return format;
}

// The same format stands on both sides and the source counts as full range whatever it says: a
// picture of limited range keeps its values, as the phone application's pictures always had them.
void use_bt601(SwsContext* scaler) {
  int* coefficients[2];
  int range[2];
  int brightness = 0;
  int contrast = 0;
  int saturation = 0;
  if (sws_getColorspaceDetails(scaler, &coefficients[0], &range[0], &coefficients[1], &range[1],
                               &brightness, &contrast, &saturation) < 0) {
    return;
  }
  const int* bt601 = sws_getCoefficients(SWS_CS_ITU601);
  sws_setColorspaceDetails(scaler, bt601, 1, bt601, range[1], brightness, contrast, saturation);
}

// Size and format are the picture's own, not what the file's header says of it: a hostile file may
// have them differ.
OwnedFrame scale(const AVFrame& picture, int width, int height) {
  const AVPixelFormat format = full_range(static_cast<AVPixelFormat>(picture.format));
  OwnedFrame scaled(av_frame_alloc());
  if (scaled == nullptr) return nullptr;
  scaled->format = format;
  scaled->width = width;
  scaled->height = height;
  scaled->pts = 0;
  if (av_frame_get_buffer(scaled.get(), 0) < 0) return nullptr;
  const OwnedScaler scaler(sws_getContext(picture.width, picture.height, format, width, height,
                                          format, SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (scaler == nullptr) return nullptr;
  use_bt601(scaler.get());
  const int rows = sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height,
                             scaled->data, scaled->linesize);
  return rows == height ? std::move(scaled) : nullptr;
}

OwnedCodec open_encoder(AVCodecID id, const AVFrame& picture) {
  const AVCodec* codec = avcodec_find_encoder(id);
  OwnedCodec encoder(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  if (encoder == nullptr) return nullptr;
  encoder->thread_count = 1;
  encoder->pix_fmt = static_cast<AVPixelFormat>(picture.format);
  encoder->width = picture.width;
  encoder->height = picture.height;
  encoder->time_base = {1, 25};
  if (avcodec_open2(encoder.get(), codec, nullptr) < 0) return nullptr;
  return encoder;
}

// Header, the one picture and trailer.
bool mux_picture(AVFormatContext& output, AVCodecContext& encoder, const AVFrame& picture) {
  const OwnedPacket packet(av_packet_alloc());
  return packet != nullptr && avformat_write_header(&output, nullptr) >= 0 &&
         avcodec_send_frame(&encoder, &picture) == 0 &&
         avcodec_receive_packet(&encoder, packet.get()) == 0 &&
         av_write_frame(&output, packet.get()) >= 0 && av_write_trailer(&output) == 0;
}

// The JPEG is finished in memory, so that nothing of it is on the disk unless all of it is.
void write_jpeg(const AVFrame& picture, const char* path) {
  const AVOutputFormat* format = av_guess_format("mjpeg", nullptr, nullptr);
  if (format == nullptr) return;
  const OwnedCodec encoder = open_encoder(format->video_codec, picture);
  AVFormatContext* context = nullptr;
  if (encoder == nullptr ||
      avformat_alloc_output_context2(&context, format, nullptr, nullptr) < 0) {
    return;
  }
  const OwnedMemoryOutput output(context);
  const AVStream* stream = avformat_new_stream(output.get(), nullptr);
  if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, encoder.get()) < 0 ||
      avio_open_dyn_buf(&output->pb) < 0 || !mux_picture(*output, *encoder, picture)) {
    return;
  }
  uint8_t* bytes = nullptr;
  const int size = avio_get_dyn_buf(output->pb, &bytes);  // still the output's
  if (size > 0) (void)media_replace_file(path, bytes, static_cast<size_t>(size));
}

}  // namespace

int32_t video_thumbnail(const char* video, const char* output, int32_t width, int32_t height) {
  if (video == nullptr || output == nullptr || width < 1 || height < 1) return -1;
  OwnedInput input;
  if (open_av_file(video, input) < 0) return -1;
  if (avformat_find_stream_info(input.get(), nullptr) < 0) return 0;
  const OwnedFrame picture = first_picture(*input);
  const OwnedFrame scaled = picture == nullptr ? nullptr : scale(*picture, width, height);
  if (scaled != nullptr) write_jpeg(*scaled, output);
  return 0;
}

}  // namespace media
