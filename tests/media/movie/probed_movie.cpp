#include "media/movie/probed_movie.h"

#include <algorithm>
#include <sstream>

#include "camera_service/service_program.h"
#include "media/movie/read_frame.h"
#include "media/movie/seek.h"

namespace media_test {

using camera_service_test::run_command;
using namespace media;  // NOLINT

std::vector<Packet> packets_of(const std::string& path) {
  const auto probed = run_command(
      "ffprobe -v error -select_streams v:0 -show_entries packet=size,pos,flags -of csv=p=0 " +
      path);
  EXPECT_EQ(probed.status, 0) << probed.output;
  std::vector<Packet> packets;
  std::istringstream lines(probed.output);
  std::string line;
  while (std::getline(lines, line)) {
    unsigned long long size = 0;
    unsigned long long position = 0;
    char flag = 0;
    if (std::sscanf(line.c_str(), "%llu,%llu,%c", &size, &position, &flag) != 3) {
      ADD_FAILURE() << line;
      break;
    }
    packets.push_back({size, position, flag == 'K'});
  }
  return packets;
}

OpenMov::OpenMov(const std::string& path) : file_(std::fopen(path.c_str(), "rb")) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  MovIndex* made = nullptr;
  if (file_ != nullptr && mov_index_new(&made) == 0) {
    index_.reset(made);
    opened_ = mov_get_header_atom(file_.get(), &header_) == 0 &&
              mov_walk_atoms(header_.moov_data, header_.moov_size, mov_atom_handler, made) == 0;
  }
  output_ = ::testing::internal::GetCapturedStdout();
  ::testing::internal::GetCapturedStderr();
}

namespace {

void expect_samples(const OpenMov& mov, const std::vector<Packet>& packets) {
  const MovTrack& track = mov.track();
  ASSERT_EQ(track.stsz.count, packets.size());
  std::vector<uint32_t> keys;
  for (uint32_t i = 0; i < track.stss.count; i++) {
    keys.push_back(OpenMov::entry(track.stss.entries, 1, i, 0));
  }
  for (uint32_t i = 0; i < packets.size(); i++) {
    ASSERT_EQ(mov_sample_offset(i, mov.index()), packets[i].position) << i;
    ASSERT_EQ(OpenMov::entry(track.stsz.entries, 1, i, 0), packets[i].size) << i;
    const bool key = keys.empty() || std::count(keys.begin(), keys.end(), i + 1) == 1;
    ASSERT_EQ(key, packets[i].key) << i;
    ASSERT_GE(packets[i].position, mov.header().mdat_offset + 8);
    ASSERT_LE(packets[i].position + packets[i].size,
              mov.header().mdat_offset + mov.header().mdat_size);
  }
}

// Every whole second leads to the key frame that ffprobe has nearest to it.
void expect_seeks(const OpenMov& mov, const std::vector<Packet>& packets, uint32_t fps) {
  for (uint32_t second = 1; second * fps < packets.size(); second++) {
    const int64_t wanted = second * fps;
    int64_t nearest = 0;
    for (size_t i = 0; i < packets.size(); i++) {
      const auto number = static_cast<int64_t>(i) + 1;
      if (!packets[i].key) continue;
      if (nearest == 0 || std::abs(number - wanted) < std::abs(nearest - wanted)) nearest = number;
    }
    ::testing::internal::CaptureStdout();
    const uint32_t found = mov_time_to_keyframe(second * 1000 + 500, mov.index());
    ::testing::internal::GetCapturedStdout();
    ASSERT_EQ(found, nearest) << second;
  }
}

// What is read at a sample's place is the file's own bytes, with a start code for the prefix.
void expect_frames(const OpenMov& mov, const std::vector<Packet>& packets) {
  std::vector<uint8_t> buffer(1048576 + kMovFrameSlack);
  std::vector<uint8_t> raw(buffer.size());
  for (const Packet& packet : packets) {
    ASSERT_EQ(fseeko(mov.file(), static_cast<off_t>(packet.position), SEEK_SET), 0);
    uint64_t remaining = packet.size;
    const int64_t got = mov_read_frame(buffer.data(), 1048576, &remaining, 4, mov.file());
    ASSERT_GT(got, 4);
    ASSERT_EQ(remaining, packet.size - static_cast<uint64_t>(got));
    ASSERT_EQ(fseeko(mov.file(), static_cast<off_t>(packet.position), SEEK_SET), 0);
    ASSERT_EQ(std::fread(raw.data(), 1, static_cast<size_t>(got), mov.file()),
              static_cast<size_t>(got));
    ASSERT_EQ(mov_load_u32(raw.data()) + 4, static_cast<uint64_t>(got));
    ASSERT_EQ(mov_load_u32(buffer.data()), 1U);
    ASSERT_TRUE(std::equal(raw.begin() + 4, raw.begin() + got, buffer.begin() + 4));
  }
}

}  // namespace

void expect_as_ffprobe(const OpenMov& mov, const std::string& path, uint32_t fps, size_t count) {
  ASSERT_TRUE(mov.opened());
  const std::vector<Packet> packets = packets_of(path);
  ASSERT_EQ(packets.size(), count);
  expect_samples(mov, packets);
  expect_seeks(mov, packets, fps);
  expect_frames(mov, packets);
}

}  // namespace media_test
