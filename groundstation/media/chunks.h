// Chunks of a file in the order in which they arrived, some of them perhaps missing, and the union
// of two such sequences.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace groundstation {

[[nodiscard]] uint64_t chunk_hash(std::span<const uint8_t> bytes);

// A sequence of chunks; no allocation while it grows to `capacity` chunks of kMediaChunk bytes.
class ChunkList {
 public:
  void reserve(size_t capacity);
  void clear();
  void append(std::span<const uint8_t> bytes, uint64_t hash);

  [[nodiscard]] size_t size() const { return chunks_.size(); }
  [[nodiscard]] uint64_t hash(size_t index) const { return chunks_[index].hash; }
  [[nodiscard]] std::span<const uint8_t> bytes(size_t index) const;
  // Whether no two chunks have the same contents.
  [[nodiscard]] bool distinct() const;

 private:
  struct Chunk {
    uint64_t hash;
    size_t at;
    size_t size;
  };
  std::vector<Chunk> chunks_;
  std::vector<uint8_t> pool_;
};

// Puts into `merged` (empty, with room for all) what the two sequences together tell of the order
// of their chunks: where each of them has chunks that the other lacks, the longer run. False when
// contents repeat or the two contradict each other; then `merged` means nothing.
[[nodiscard]] bool merge_chunks(const ChunkList& one, const ChunkList& other, ChunkList* merged);

}  // namespace groundstation
