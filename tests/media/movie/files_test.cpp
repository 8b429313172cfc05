// Recordings in the shapes that cameras and tools write, indexed by us and judged by ffprobe.
#include <gtest/gtest.h>

#include <filesystem>

#include "camera_service/mp4_writer.h"
#include "camera_service/picture.h"
#include "camera_service/service_program.h"
#include "media/movie/probed_movie.h"
#include "media/movie/seek.h"

namespace media {
namespace {

using camera_service_test::run_command;
using media_test::OpenMov;
using media_test::packets_of;

constexpr const char* kVideo = "-f lavfi -i testsrc2=s=320x180:d=6:r=";
constexpr const char* kAudio = " -f lavfi -i sine=f=440:r=44100:d=6";
constexpr const char* kCoders = " -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac ";

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

  // The recordings of `make` last 6 s.
  static void expect_as_ffprobe(const OpenMov& mov, const std::string& path, uint32_t fps) {
    media_test::expect_as_ffprobe(mov, path, fps, size_t{6} * fps);
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
  media_test::expect_as_ffprobe(OpenMov(path), path, camera_service::Mp4Writer::kFramesPerSecond,
                                static_cast<size_t>(frames));
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
  const auto packets = packets_of(path);
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
