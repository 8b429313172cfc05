#include "support/recordings.h"

#include <gtest/gtest.h>

#include <numeric>

#include "support/child_process.h"

namespace media_test {
namespace {

using Command = std::vector<std::string>;

std::string without_newline(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// The types of NAL units that this file tells apart.
constexpr int kSlice = 1;
constexpr int kKeySlice = 5;
constexpr int kDelimiter = 9;

// A stream cut before every start code; the zero byte of a long one stays with what follows.
std::vector<Bytes> nal_units(const Bytes& stream) {
  std::vector<Bytes> units;
  size_t begin = 0;
  for (size_t i = 4; i + 3 < stream.size(); i++) {
    if (stream[i] != 0 || stream[i + 1] != 0 || stream[i + 2] != 1) continue;
    const size_t cut = stream[i - 1] == 0 ? i - 1 : i;
    units.emplace_back(stream.begin() + static_cast<ptrdiff_t>(begin),
                       stream.begin() + static_cast<ptrdiff_t>(cut));
    begin = cut;
  }
  units.emplace_back(stream.begin() + static_cast<ptrdiff_t>(begin), stream.end());
  return units;
}

int type_of(const Bytes& unit) { return unit[unit[2] == 1 ? 3 : 4] & 31; }

constexpr const char* kCuttable = "scenecut=0:bframes=0:aud=1:threads=1:";

// The stream that the arguments make, cut into its pictures.
std::vector<Bytes> cut_stream(const Command& arguments) {
  const TemporaryFolder folder;
  const std::string path = folder.path("stream.h264");
  make_recording(path, arguments);
  std::vector<Bytes> pictures;
  for (const Bytes& unit : nal_units(read_file(path))) {
    if (type_of(unit) == kDelimiter || pictures.empty()) pictures.emplace_back();
    pictures.back() = pictures.back() + unit;
  }
  return pictures;
}

}  // namespace

void make_recording(const std::string& path, const std::vector<std::string>& arguments) {
  Command command = {"ffmpeg", "-v", "error", "-y"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  command.push_back(path);
  const support::CommandResult result = support::run_command(command);
  ASSERT_EQ(result.status, 0) << result.output;
}

std::vector<std::string> pattern(const std::string& size, int pictures,
                                 const std::vector<std::string>& more) {
  Command arguments = {"-f",        "lavfi",
                       "-i",        "testsrc2=r=30:s=" + size,
                       "-frames:v", std::to_string(pictures),
                       "-c:v",      "libx264",
                       "-preset",   "ultrafast",
                       "-pix_fmt",  "yuv420p"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

std::string probe(const std::string& path, const std::string& fields) {
  return without_newline(
      support::run_command({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                            "stream=" + fields, "-of", "csv=p=0", path})
          .output);
}

std::string judge_thumbnail(const std::string& path) {
  if (!exists(path)) return "";
  const support::CommandResult checked = support::run_command({"jpeginfo", "-c", path});
  EXPECT_EQ(checked.status, 0) << checked.output;
  if (checked.status != 0) return "";
  return probe(path, "codec_name,width,height,pix_fmt");
}

std::vector<int> mean_yuv(const std::string& path) {
  const TemporaryFolder folder;
  make_recording(folder.path("raw"), {"-i", path, "-f", "rawvideo"});
  const Bytes raw = read_file(folder.path("raw"));
  const size_t luma = size_t{160} * 90;
  const size_t chroma = luma / 4;
  if (raw.size() != luma + 2 * chroma) return {};
  std::vector<int> means;
  size_t at = 0;
  for (const size_t size : {luma, chroma, chroma}) {
    const auto begin = raw.begin() + static_cast<ptrdiff_t>(at);
    const int sum = std::accumulate(begin, begin + static_cast<ptrdiff_t>(size), 0);
    means.push_back(sum / static_cast<int>(size));
    at += size;
  }
  return means;
}

const std::vector<Bytes>& stream_pictures() {
  static const std::vector<Bytes> pictures = cut_stream(pattern(
      "640x360", 240, {"-x264-params", std::string(kCuttable) + "keyint=91:min-keyint=91"}));
  return pictures;
}

std::vector<Bytes> camera_pictures(const std::string& size, int mbits) {
  return cut_stream(
      pattern(size, 60,
              {"-vf", "noise=alls=12:allf=t", "-b:v", std::to_string(mbits) + "M", "-x264-params",
               std::string(kCuttable) + "keyint=60:min-keyint=60:zones=0,0,q=12"}));
}

Bytes without_slices(const Bytes& picture) {
  Bytes rest;
  for (const Bytes& unit : nal_units(picture)) {
    const int type = type_of(unit);
    if (type != kSlice && type != kKeySlice) rest = rest + unit;
  }
  return rest;
}

}  // namespace media_test
