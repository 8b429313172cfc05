// Tagging a photo of 12 megapixels with its place and time: our operation against the pauses that
// it makes while it writes, and against exiftool and exiv2 writing the same GPS tags. Wall clock and
// processor time, each the best of some runs, in turns; every run gets a fresh copy. Runs in a
// virtual board, whose files are in memory.
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "base/clock.h"
#include "camera_service/exif_block.h"
#include "camera_service/jpeg.h"
#include "media/card/paced_writer.h"
#include "media/photo/exif.h"
#include "report.h"
#include "support/board_files.h"
#include "support/child_process.h"

namespace {

using support::run_command;

constexpr int kRuns = 7;
const std::string kFresh = "/tmp/photo.JPG";    // as the camera wrote it
const std::string kTagged = "/tmp/tagged.JPG";  // the copy that is tagged

struct Cost {
  double wall_ms = 1e9;
  double cpu_ms = 1e9;
};

// Processor time of this process and of its children that have ended.
double cpu_ms() {
  double sum = 0;
  for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    for (const timeval& part : {usage.ru_utime, usage.ru_stime}) {
      sum += static_cast<double>(part.tv_sec) * 1e3 + static_cast<double>(part.tv_usec) / 1e3;
    }
  }
  return sum;
}

void measure(Cost* best, const std::function<void()>& tag) {
  std::filesystem::copy_file(kFresh, kTagged, std::filesystem::copy_options::overwrite_existing);
  const double cpu = cpu_ms();
  const uint64_t began = base::monotonic_us();
  tag();
  best->wall_ms = std::min(best->wall_ms, static_cast<double>(base::monotonic_us() - began) / 1000);
  best->cpu_ms = std::min(best->cpu_ms, cpu_ms() - cpu);
}

std::vector<uint8_t> picture(const char* size) {
  const std::string path = "/tmp/picture.jpg";
  run_command({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
               std::string("testsrc2=size=") + size + ",noise=alls=20", "-frames:v", "1", "-q:v",
               "4", path});
  const std::string bytes = support::read_file(path);
  return {bytes.begin(), bytes.end()};
}

// With the block that a camera writes, which has a thumbnail.
void make_photo() {
  camera_service::ExifFields fields;
  fields.time = "2020:01:01 12:00:00";
  const auto block =
      camera_service::exif_block(camera_service::ExifMode::kOk, fields, picture("160x120"));
  const auto photo = camera_service::with_app1(picture("4000x3000"), block);
  support::write_file(kFresh, {reinterpret_cast<const char*>(photo.data()), photo.size()});
}

void tag_ours() {
  const media::GpsPosition position{
      .longitude = 113'9423000, .latitude = 22'5427000, .altitude = 1234};
  (void)media::exif_write_photo(kTagged.c_str(), kTagged.c_str(), "/tmp/thumb.JPG",
                                "2021:02:03 04:05:06", position);
}

void tag_with_exiftool() {
  run_command({"exiftool", "-q", "-overwrite_original", "-GPSVersionID=2 2 0 0",
               "-GPSLatitude=22.5427", "-GPSLatitudeRef=N", "-GPSLongitude=113.9423",
               "-GPSLongitudeRef=E", "-GPSAltitude=123.4", kTagged});
}

void tag_with_exiv2() {
  run_command(
      {"exiv2", "-Mset Exif.GPSInfo.GPSVersionID 2 2 0 0",
       "-Mset Exif.GPSInfo.GPSLatitude 22/1 32/1 337/10", "-Mset Exif.GPSInfo.GPSLatitudeRef N",
       "-Mset Exif.GPSInfo.GPSLongitude 113/1 56/1 322/10", "-Mset Exif.GPSInfo.GPSLongitudeRef E",
       "-Mset Exif.GPSInfo.GPSAltitude 1234/10", kTagged});
}

// Ends the bench when the copy does not tell its place now.
void require_tagged() {
  const std::string told = run_command({"exiftool", "-s3", "-GPSLatitude#", kTagged}).output;
  if (told.starts_with("22.54")) return;
  std::printf("the photo was not tagged: %s\n", told.c_str());
  std::exit(1);
}

void pauses_alone() {
  const size_t blocks = std::filesystem::file_size(kTagged) / media::kPacedBlock;
  for (size_t done = 0; done < blocks; done += media::kPacedBlocks) {
    base::sleep_us(media::kPacedPauseUs);
  }
}

}  // namespace

int main() {
  make_photo();
  Cost ours;
  Cost pauses;
  Cost exiftool;
  Cost exiv2;
  for (int i = 0; i < kRuns; i++) {
    measure(&pauses, pauses_alone);
    measure(&ours, tag_ours);
    require_tagged();
    measure(&exiftool, tag_with_exiftool);
    require_tagged();
    measure(&exiv2, tag_with_exiv2);
    require_tagged();
  }
  const std::string name = "tagging a photo of 12 megapixels";
  const std::string size =
      bench::readable(static_cast<double>(std::filesystem::file_size(kFresh)) / 1e6) + " MB";
  const auto show = [&](const char* what, const char* unit, const char* reference_name, double mine,
                        double reference, bench::Goal goal) {
    bench::show({.name = name + what + ", beside " + reference_name,
                 .unit = unit,
                 .ours = mine,
                 .reference_name = reference_name,
                 .reference = reference,
                 .goal = goal,
                 .note = size});
  };
  show("", "ms", "its pauses alone", ours.wall_ms, pauses.wall_ms, bench::kNoGoal);
  show("", "ms", "exiftool", ours.wall_ms, exiftool.wall_ms, bench::at_most(1));
  show("", "ms", "exiv2", ours.wall_ms, exiv2.wall_ms, bench::kNoGoal);
  show(", CPU", "ms", "exiftool", ours.cpu_ms, exiftool.cpu_ms, bench::at_most(1));
  show(", CPU", "ms", "exiv2", ours.cpu_ms, exiv2.cpu_ms, bench::at_most(1));
}
