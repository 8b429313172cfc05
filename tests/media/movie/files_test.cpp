// Recordings in the shapes that cameras and tools write, indexed by us and judged by ffprobe.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "camera_service/mp4_writer.h"
#include "camera_service/picture.h"
#include "camera_service/service_program.h"
#include "media/movie/header.h"
#include "media/movie/index.h"
#include "media/movie/mov_boxes.h"
#include "media/movie/read_frame.h"
#include "media/movie/seek.h"

namespace media {
namespace {

using camera_service_test::run_command;

constexpr const char* kVideo = "-f lavfi -i testsrc2=s=320x180:d=6:r=";
constexpr const char* kAudio = " -f lavfi -i sine=f=440:r=44100:d=6";
constexpr const char* kCoders = " -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac ";

struct Packet {
  uint64_t size;
  uint64_t position;
  bool key;
};

// The packets of the video track in the order of the file's tables, as ffprobe sees them.
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

// A file as playback opens it.
class OpenMov {
 public:
  explicit OpenMov(const std::string& path) : file_(std::fopen(path.c_str(), "rb")) {
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
  ~OpenMov() { mov_header_free(&header_); }
  OpenMov(const OpenMov&) = delete;
  OpenMov& operator=(const OpenMov&) = delete;

  [[nodiscard]] bool opened() const { return opened_; }
  [[nodiscard]] const std::string& output() const { return output_; }
  [[nodiscard]] const MovHeader& header() const { return header_; }
  [[nodiscard]] const MovIndex* index() const { return index_.get(); }
  [[nodiscard]] const MovTrack& track() const { return *mov_video_track(index_.get()); }
  [[nodiscard]] std::FILE* file() const { return file_.get(); }
  // Word `word` of entry `entry` of a table.
  static uint32_t entry(const uint8_t* entries, size_t words_per_entry, size_t entry, size_t word) {
    return mov_load_u32(entries + 4 * (words_per_entry * entry + word));
  }
  [[nodiscard]] uint32_t samples_per_chunk(size_t run) const {
    return entry(track().stsc.entries, 3, run, 1);
  }

 private:
  base::File file_;
  MovHeader header_{};
  MovIndexOwner index_;
  bool opened_ = false;
  std::string output_;
};

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

class MovFiles : public ::testing::Test {
 protected:
  // Runs ffmpeg and gives the path of what it made.
  std::string make(const std::string& arguments, const std::string& name = "made.mp4") {
    const std::string path = folder_.path(name);
    const auto made =
        run_command("ffmpeg -nostdin -y -v error " + arguments + " " + path + " 2>&1");
    EXPECT_EQ(made.status, 0) << made.output;
    return path;
  }

  static void expect_as_ffprobe(const OpenMov& mov, const std::string& path, uint32_t fps) {
    ASSERT_TRUE(mov.opened());
    const std::vector<Packet> packets = packets_of(path);
    ASSERT_EQ(packets.size(), 6 * fps);
    expect_samples(mov, packets);
    expect_seeks(mov, packets, fps);
    expect_frames(mov, packets);
  }

  media_test::TemporaryFolder folder_;
};

TEST_F(MovFiles, ManySamplesPerChunkAndMoovLast) {
  const std::string path = make(kVideo + ("10" + std::string(kCoders)) + "-g 20 -bf 0");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_GT(mov.header().moov_offset, mov.header().mdat_offset);
  EXPECT_EQ(mov.track().stsc.count, 1U);
  EXPECT_GT(mov.samples_per_chunk(0), 10U);
  EXPECT_EQ(mov.track().stss.count, 3U);
  ASSERT_NE(mov.track().stsd.description, nullptr);
  const MovSampleDescription& description = *mov.track().stsd.description;
  EXPECT_EQ(description.format, mov_type("avc1"));
  EXPECT_EQ(description.width, 320);
  EXPECT_EQ(description.height, 180);
  ASSERT_NE(description.avc, nullptr);
  EXPECT_EQ(description.avc->nal_length_size, 4);
  EXPECT_GT(description.avc->sps_length, 4);
  EXPECT_EQ(description.avc->sps[0] & 31, 7);
  EXPECT_GT(description.avc->pps_length, 2);
  EXPECT_EQ(description.avc->pps[0] & 31, 8);
}

TEST_F(MovFiles, OneSamplePerChunk) {
  const std::string path = make(std::string(kVideo) + "10" + kAudio + kCoders + "-g 15 -bf 0");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_EQ(mov.track().stsc.count, 1U);
  EXPECT_EQ(mov.samples_per_chunk(0), 1U);
}

TEST_F(MovFiles, SeveralRunsOfChunks) {
  const std::string path = make(std::string(kVideo) + "60" + kAudio + kCoders + "-g 25 -bf 0");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 60);
  EXPECT_GT(mov.track().stsc.count, 10U);
}

TEST_F(MovFiles, AudioTrackFirst) {
  const std::string path =
      make(std::string(kVideo) + "10" + kAudio + kCoders + "-map 1:a -map 0:v -g 20 -bf 0");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_EQ(mov.index()->track_count, 2U);
  EXPECT_EQ(mov.index()->video_track, 1U);
}

TEST_F(MovFiles, EverySampleAKeyFrameWithoutStss) {
  const std::string path = make(kVideo + ("10" + std::string(kCoders)) + "-g 1");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_EQ(mov.track().stss.count, 0U);
}

TEST_F(MovFiles, FramesOutOfOrder) {
  const std::string path =
      make(kVideo + ("25" + std::string(kCoders)) + "-preset veryfast -g 30 -bf 3");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 25);
  EXPECT_NE(mov.output().find("process ctts failed\n"), std::string::npos);
}

TEST_F(MovFiles, MoovFirst) {
  const std::string path =
      make(kVideo + ("10" + std::string(kCoders)) + "-g 20 -movflags +faststart");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_LT(mov.header().moov_offset, mov.header().mdat_offset);
}

TEST_F(MovFiles, QuickTime) {
  const std::string path = make(kVideo + ("10" + std::string(kCoders)) + "-g 20 -bf 0", "made.mov");
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_NE(mov.output().find("wide atom:"), std::string::npos);
}

TEST_F(MovFiles, TheCamerasOwnRecording) {
  const std::string path = folder_.path("camera.MP4");
  camera_service::Mp4Writer writer(path);
  const int frames = 2 * camera_service::Mp4Writer::kFramesPerSecond;
  for (int i = 0; i < frames; i++) {
    ASSERT_TRUE(writer.good());
    camera_service::paint_landscape(writer.frame(), i % 4);
    writer.write_frame();
  }
  ASSERT_TRUE(writer.close());
  const OpenMov mov(path);
  ASSERT_TRUE(mov.opened());
  const std::vector<Packet> packets = packets_of(path);
  ASSERT_EQ(packets.size(), static_cast<size_t>(frames));
  expect_samples(mov, packets);
  expect_seeks(mov, packets, camera_service::Mp4Writer::kFramesPerSecond);
  expect_frames(mov, packets);
}

// A file of ffmpeg with `moov` last, in its parts: `ftyp`, an empty `free`, `mdat`, `moov`.
struct Parts {
  Bytes ftyp;
  Bytes frames;
  Bytes moov;
};

Parts split(const std::string& path) {
  const Bytes file = media_test::read_file(path);
  const OpenMov mov(path);
  const MovHeader& header = mov.header();
  EXPECT_EQ(header.mdat_offset, header.ftyp_size + 8);
  const auto part = [&](uint64_t from, uint64_t size) {
    return Bytes(file.begin() + static_cast<long>(from),
                 file.begin() + static_cast<long>(from + size));
  };
  return {part(0, header.ftyp_size), part(header.mdat_offset + 8, header.mdat_size - 8),
          part(header.moov_offset, header.moov_size)};
}

using Rewrite = std::function<Bytes(const std::vector<uint32_t>& offsets)>;

// The atoms with every chunk offset table replaced.
Bytes rewrite(const Bytes& atoms, const Rewrite& replace) {
  Bytes done;
  for (size_t at = 0; at < atoms.size();) {
    const size_t size = mov_load_u32(&atoms[at]);
    const std::string type(&atoms[at + 4], &atoms[at + 8]);
    const Bytes payload(atoms.begin() + static_cast<long>(at + 8),
                        atoms.begin() + static_cast<long>(at + size));
    if (type == "moov" || type == "trak" || type == "mdia" || type == "minf" || type == "stbl") {
      done = done + box(type, rewrite(payload, replace));
    } else if (type == "stco") {
      std::vector<uint32_t> offsets;
      for (size_t i = 8; i < payload.size(); i += 4) offsets.push_back(mov_load_u32(&payload[i]));
      done = done + replace(offsets);
    } else {
      done = done + box(type, payload);
    }
    at += size;
  }
  return done;
}

TEST_F(MovFiles, FourGigabytesWithAHole) {
  const Parts parts = split(make(std::string(kVideo) + "10" + kAudio + kCoders + "-g 20 -bf 0"));
  constexpr uint32_t kHole = 4290000000;
  const std::string path = folder_.path("large.mp4");
  const Bytes moov = rewrite(parts.moov, [&](std::vector<uint32_t> offsets) {
    for (uint32_t& offset : offsets) offset += kHole;
    return media_test::table("stco", static_cast<uint32_t>(offsets.size()), offsets);
  });
  const uint64_t mdat = 16 + uint64_t{kHole} + parts.frames.size();
  const uint64_t frames = parts.ftyp.size() + 16 + uint64_t{kHole};
  media_test::write_file(path, parts.ftyp + be32({1}) + text_bytes("mdat") +
                                   be32({static_cast<uint32_t>(mdat >> 32),
                                         static_cast<uint32_t>(mdat & 0xFFFFFFFF)}));
  std::filesystem::resize_file(path, frames);
  std::ofstream(path, std::ios::binary | std::ios::app)
      .write(reinterpret_cast<const char*>(parts.frames.data()),
             static_cast<std::streamsize>(parts.frames.size()))
      .write(reinterpret_cast<const char*>(moov.data()), static_cast<std::streamsize>(moov.size()));
  const OpenMov mov(path);
  expect_as_ffprobe(mov, path, 10);
  EXPECT_EQ(mov.header().mdat_size, mdat);
  EXPECT_EQ(mov.header().moov_offset, parts.ftyp.size() + mdat);
  EXPECT_GE(mov_sample_offset(0, mov.index()), kHole);
}

// Tables of 64-bit chunk offsets are not read, so such a file has no place to play from.
TEST_F(MovFiles, OffsetsOf64Bits) {
  const std::string whole = make(kVideo + ("10" + std::string(kCoders)) + "-g 20 -bf 0");
  const Parts parts = split(whole);
  const std::string path = folder_.path("co64.mp4");
  const Bytes moov = rewrite(parts.moov, [](const std::vector<uint32_t>& offsets) {
    std::vector<uint32_t> words;
    for (const uint32_t offset : offsets) words.insert(words.end(), {0, offset});
    return media_test::table("co64", static_cast<uint32_t>(offsets.size()), words);
  });
  media_test::write_file(path, parts.ftyp + box("free") + box("mdat", parts.frames) + moov);
  const std::vector<Packet> packets = packets_of(path);
  ASSERT_EQ(packets.size(), 60U);
  EXPECT_EQ(packets[1].position, packets_of(whole)[1].position);
  const OpenMov mov(path);
  EXPECT_TRUE(mov.opened());
  EXPECT_NE(mov.output().find("process co64 failed\n"), std::string::npos);
  EXPECT_EQ(mov.track().stco.count, 0U);
  EXPECT_EQ(mov.track().stsz.count, 60U);
  for (uint32_t i = 0; i < 60; i++) EXPECT_EQ(mov_sample_offset(i, mov.index()), 0U);
}

}  // namespace
}  // namespace media
