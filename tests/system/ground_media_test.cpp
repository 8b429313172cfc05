// Everything on the card, fetched by the ground station while live video runs and one datagram in
// twenty is lost on the air.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "photo_files.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

const std::string kFetched = "/tmp/fetched/";

void make_files() {
  fs::create_directories(kPictures);
  fs::create_directories(kVideos);
  photo_files::make_photo(std::string(kPictures) + "20200101_120000_PW03.JPG");
  photo_files::make_plain_photo(std::string(kPictures) + "20200101_120001AB.JPG");
  write_file(std::string(kPictures) + "one_chunk.JPG", std::string(8181, 'x'));
  photo_files::run({"ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i",
                    "nullsrc=size=320x180:rate=30,geq=random(1)*255:128:128", "-t", "3", "-c:v",
                    "libx264", "-preset", "ultrafast",
                    std::string(kVideos) + "20200101_120002AB.MP4"});
}

TEST(GroundMedia, FetchesTheWholeCardWhileLiveVideoRunsAndDatagramsAreLost) {
  make_files();
  RunningMaintask maintask;
  PeerLink peer;
  PeerSocket video(8856);
  ASSERT_TRUE(wait_for_live_video(peer, video)) << maintask.process().output();
  photo_files::run({"on-peer", "iptables", "-A", "INPUT", "-p", "udp", "--sport", "8857", "-m",
                    "statistic", "--mode", "random", "--probability", "0.05", "-j", "DROP"});
  const size_t live = video.count();
  const CommandResult told =
      run_command({"on-peer", BIN_DIR "/groundstation", "media", "get", "--all", "-o", kFetched},
                  seconds(120), sanitizer_options());
  EXPECT_EQ(told.status, 0) << told.output;
  for (const char* folder : {kPictures, kVideos}) {
    for (const std::string& name : list_folder(folder)) {
      EXPECT_TRUE(file_exists(kFetched + name)) << name << "\n" << told.output;
      // No expected text: it would be megabytes.
      EXPECT_TRUE(read_file(kFetched + name) == read_file(folder + name)) << name;
    }
  }
  EXPECT_GT(video.count(), live + 10);
  // The rule has dropped something: the packets of its line.
  const std::string rules = photo_files::run({"on-peer", "iptables", "-nvxL", "INPUT"});
  const size_t line = rules.find("DROP");
  ASSERT_NE(line, std::string::npos);
  EXPECT_GT(std::strtol(rules.c_str() + rules.rfind('\n', line) + 1, nullptr, 10), 5) << rules;
  EXPECT_TRUE(maintask.runs());
}

}  // namespace
