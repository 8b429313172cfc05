#include "media/movie/mov_boxes.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <stdexcept>
#include <utility>

namespace media_test {
namespace {

Bytes be16(uint16_t value) {
  return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

Bytes zeros(size_t size) { return Bytes(size, uint8_t{0}); }

}  // namespace

Bytes be32(const std::vector<uint32_t>& values) {
  Bytes bytes;
  for (const uint32_t value : values) {
    for (int shift = 24; shift >= 0; shift -= 8)
      bytes.push_back(static_cast<uint8_t>(value >> shift));
  }
  return bytes;
}

Bytes box(const std::string& type, const Bytes& payload) {
  return be32({static_cast<uint32_t>(8 + payload.size())}) + text_bytes(type) + payload;
}

Bytes long_box(const std::string& type, const Bytes& payload) {
  return be32({1}) + text_bytes(type) + be32({0, static_cast<uint32_t>(16 + payload.size())}) +
         payload;
}

Bytes full_box(const std::string& type, const Bytes& payload) {
  return box(type, be32({0}) + payload);
}

Bytes table(const std::string& type, uint32_t count, const std::vector<uint32_t>& words) {
  return full_box(type, be32({count}) + be32(words));
}

Bytes tkhd(uint32_t track_id, uint32_t width, uint32_t height) {
  Bytes matrix = zeros(36);
  for (size_t i = 0; i < matrix.size(); i++) matrix[i] = static_cast<uint8_t>(i + 1);
  return full_box("tkhd", be32({11, 12, track_id, 0, 13}) + zeros(8) + be16(31) + be16(32) +
                              be16(33) + zeros(2) + matrix + be32({width, height}));
}

Bytes mdhd(uint32_t time_scale) {
  return full_box("mdhd", be32({21, 22, time_scale, 23}) + Bytes{0x55, 0xC4, 0, 0});
}

Bytes avc_description(const Bytes& sps, const Bytes& pps) {
  const Bytes record = Bytes{1, 100, 0, 41, 0xFF, 0xE1} + be16(static_cast<uint16_t>(sps.size())) +
                       sps + Bytes{1} + be16(static_cast<uint16_t>(pps.size())) + pps;
  Bytes name = text_bytes(
      "\x05"
      "house");
  name.resize(32);
  return box("avc1", zeros(6) + be16(1) + be16(2) + be16(3) + be32({4, 5, 6}) + be16(1280) +
                         be16(720) + be32({0x480000, 0x490000, 7}) + be16(8) + name + be16(24) +
                         be16(0xFFFF) + box("avcC", record));
}

Bytes video_track(const Tables& tables) {
  const auto entries = [](const std::vector<uint32_t>& words, size_t per_entry) {
    return static_cast<uint32_t>(words.size() / per_entry);
  };
  Bytes stbl = table("stts", entries(tables.stts, 2), tables.stts) +
               table("stsc", entries(tables.stsc, 3), tables.stsc) +
               table("stco", entries(tables.stco, 1), tables.stco);
  if (!tables.stss.empty()) stbl = stbl + table("stss", entries(tables.stss, 1), tables.stss);
  stbl = full_box("stsd", be32({1}) + avc_description({0x67, 1, 2}, {0x68, 3})) + stbl +
         full_box("stsz", be32({0, entries(tables.stsz, 1)}) + be32(tables.stsz));
  return box("trak", tkhd(1, 1280 << 16, 720 << 16) +
                         box("mdia", mdhd(tables.time_scale) + box("minf", box("stbl", stbl))));
}

Bytes audio_track() {
  const Bytes stbl = table("stts", 1, {1, 1}) + table("stsc", 1, {1, 1, 1}) +
                     table("stco", 1, {77}) + full_box("stsz", be32({0, 1, 7}));
  return box("trak", tkhd(2, 0, 0) + box("mdia", mdhd(8000) + box("minf", box("stbl", stbl))));
}

Bytes movie_of(uint32_t ms) {
  const Bytes header = Bytes(12) + be32({1000, ms}) + Bytes(80);
  return box("ftyp", text_bytes("isom") + Bytes(4) + text_bytes("isom")) +
         box("moov", box("mvhd", header));
}

Indexed::Indexed(Bytes atoms) : bytes(std::move(atoms)) {
  media::MovIndex* made = nullptr;
  if (media::mov_index_new(&made) != 0) throw std::runtime_error("no memory for an index");
  index.reset(made);
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  walked = media::mov_walk_atoms(bytes.data(), bytes.size(), media::mov_atom_handler, made);
  output = ::testing::internal::GetCapturedStdout();
  errors = ::testing::internal::GetCapturedStderr();
}

base::File open_bytes(const Bytes& bytes) {
  base::Descriptor memory(memfd_create("mov", MFD_CLOEXEC));
  base::File file(memory.open() ? fdopen(memory.get(), "w+b") : nullptr);
  if (file == nullptr) throw std::runtime_error("no file in memory");
  (void)memory.release();
  if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
    throw std::runtime_error("no room for a file in memory");
  }
  std::rewind(file.get());
  return file;
}

}  // namespace media_test
