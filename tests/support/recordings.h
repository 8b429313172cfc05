// Recordings made by the ffmpeg program, and pictures judged by programs that are not ours.
#pragma once

#include <string>
#include <vector>

#include "support/photo.h"

namespace media_test {

// Runs ffmpeg with these arguments and `path` as its output. The test fails when ffmpeg does.
void make_recording(const std::string& path, const std::vector<std::string>& arguments);

// The arguments for an H.264 recording of a moving pattern: size as "640x360", number of pictures
// at 30 per second, and more options for the encoder or the container.
[[nodiscard]] std::vector<std::string> pattern(const std::string& size, int pictures,
                                               const std::vector<std::string>& more = {});

// What ffprobe says of a file's first video stream, fields in ffprobe's own order: "160,90".
[[nodiscard]] std::string probe(const std::string& path, const std::string& fields);

// What ffprobe says of a thumbnail: "mjpeg,160,90,yuvj420p". Empty when there is no such file, or
// when jpeginfo finds fault with it.
[[nodiscard]] std::string judge_thumbnail(const std::string& path);

// The mean values of Y, U and V as they are stored in a 4:2:0 picture of 160x90; empty for others.
[[nodiscard]] std::vector<int> mean_yuv(const std::string& path);

// Two seconds of a noisy H.264 stream as the camera's encoder pushes it, a picture at a time: of
// that size at 30 pictures per second and at least so many Mbit/s, its only key frame first and
// larger than 512 KiB. The same again may follow.
[[nodiscard]] std::vector<Bytes> camera_pictures(const std::string& size, int mbits);

// An H.264 stream of 640x360 at 30 pictures per second cut into its pictures, each with what stands
// before it: 240 pictures, key frames at 0, 91 and 182. Made once.
[[nodiscard]] const std::vector<Bytes>& stream_pictures();
// The same picture without its slices: parameter sets and the like only.
[[nodiscard]] Bytes without_slices(const Bytes& picture);

}  // namespace media_test
