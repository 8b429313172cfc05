// A thumbnail of a recording of 3840x2160 pictures: video_thumbnail against the ffmpeg program
// making the same picture, in turns. The recordings are made first.
//   video_thumbnail_bench [RUNS]: runs of each, 15 if not given
#include "media/movie/thumbnail.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/shell.h"
#include "media/movie/av_owners.h"
#include "quantiles.h"

namespace {

namespace fs = std::filesystem;

struct Recording {
  const char* title;
  const char* encoder;
};
constexpr Recording kRecordings[] = {
    {"no B-frames, index at the end", "-preset ultrafast -g 30"},
    {"B-frames, index first", "-preset veryfast -bf 3 -movflags +faststart"},
};

template <typename Work>
double took_ms(Work work) {
  const uint64_t began = base::monotonic_us();
  work();
  return static_cast<double>(base::monotonic_us() - began) / 1000;
}

// Without a shell between: only ffmpeg's own time counts. The filter says what video_thumbnail does
// with the range.
void run_ffmpeg(const std::string& video, const std::string& output) {
  std::vector<std::string> words = {"ffmpeg",
                                    "-nostdin",
                                    "-v",
                                    "quiet",
                                    "-y",
                                    "-i",
                                    video,
                                    "-map",
                                    "0:v:0",
                                    "-frames:v",
                                    "1",
                                    "-vf",
                                    "scale=160:90:in_range=full:out_range=full,format=yuvj420p",
                                    "-f",
                                    "mjpeg",
                                    output};
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t child = 0;
  if (posix_spawnp(&child, "ffmpeg", nullptr, nullptr, arguments.data(), environ) != 0) return;
  waitpid(child, nullptr, 0);
}

// PSNR between the two, "inf" for the same picture.
std::string difference(const std::string& ours, const std::string& reference) {
  const std::string command = "ffmpeg -nostdin -i " + ours + " -i " + reference +
                              " -lavfi '[0][1]psnr' -f null - 2>&1 | grep -o 'average:[^ ]*'";
  char line[64] = "unknown";
  base::read_shell_line(command.c_str(), line, sizeof(line));
  std::string text = line;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

void measure(const Recording& recording, const std::string& folder, int runs) {
  const std::string video = folder + "/a.MP4";
  const std::string make =
      "ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=3840x2160:r=30 -frames:v 45 -c:v libx264 "
      "-pix_fmt yuv420p " +
      std::string(recording.encoder) + " -f mp4 " + video;
  if (base::run_shell(make.c_str()) != 0) return;
  const std::string ours = folder + "/ours.JPG";
  const std::string reference = folder + "/reference.JPG";
  std::vector<double> our_times;
  std::vector<double> reference_times;
  for (int run = 0; run < runs; run++) {
    our_times.push_back(
        took_ms([&] { media::video_thumbnail(video.c_str(), ours.c_str(), 160, 90); }));
    reference_times.push_back(took_ms([&] { run_ffmpeg(video, reference); }));
  }
  if (!fs::exists(ours) || !fs::exists(reference)) {
    std::printf("thumbnail of 3840x2160 H.264: no picture was made\n");
    return;
  }
  bench::show({.name = std::string("thumbnail of 3840x2160 H.264, ") + recording.title,
               .unit = "ms",
               .ours = bench::median(our_times),
               .reference_name = "ffmpeg program",
               .reference = bench::median(reference_times),
               .goal = bench::at_most(1),
               .note = "medians of " + std::to_string(runs) + ", PSNR between the two " +
                       difference(ours, reference)});
}

}  // namespace

int main(int argc, char** argv) {
  const int runs = std::max(1, argc > 1 ? std::atoi(argv[1]) : 15);
  av_log_set_level(AV_LOG_ERROR);
  char folder[] = "/tmp/video_thumbnail_bench.XXXXXX";
  if (mkdtemp(folder) == nullptr) return 1;
  for (const Recording& recording : kRecordings) measure(recording, folder, runs);
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return 0;
}
