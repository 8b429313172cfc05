#include "groundstation/media/chunks.h"

#include <functional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "groundstation/media/messages.h"

namespace groundstation {

uint64_t chunk_hash(std::span<const uint8_t> bytes) {
  return std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void ChunkList::reserve(size_t capacity) {
  chunks_.reserve(capacity);
  pool_.reserve(capacity * kMediaChunk);
}

void ChunkList::clear() {
  chunks_.clear();
  pool_.clear();
}

void ChunkList::append(std::span<const uint8_t> bytes, uint64_t hash) {
  chunks_.push_back({hash, pool_.size(), bytes.size()});
  pool_.insert(pool_.end(), bytes.begin(), bytes.end());
}

std::span<const uint8_t> ChunkList::bytes(size_t index) const {
  return {pool_.data() + chunks_[index].at, chunks_[index].size};
}

bool ChunkList::distinct() const {
  std::unordered_set<uint64_t> seen;
  for (const Chunk& chunk : chunks_) {
    if (!seen.insert(chunk.hash).second) return false;
  }
  return true;
}

bool merge_chunks(const ChunkList& one, const ChunkList& other, ChunkList* merged) {
  if (!one.distinct() || !other.distinct()) return false;
  std::unordered_map<uint64_t, size_t> places;
  for (size_t i = 0; i < one.size(); i++) places[one.hash(i)] = i;
  const auto copy = [&](const ChunkList& from, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) merged->append(from.bytes(i), from.hash(i));
  };
  size_t one_at = 0;
  size_t other_at = 0;
  // Between two chunks that both have, the order of what only one has is known if the other has
  // nothing there.
  const auto take_gap = [&](size_t one_end, size_t other_end) {
    if (one_end - one_at >= other_end - other_at) {
      copy(one, one_at, one_end);
    } else {
      copy(other, other_at, other_end);
    }
  };
  for (size_t i = 0; i < other.size(); i++) {
    const auto place = places.find(other.hash(i));
    if (place == places.end()) continue;
    if (place->second < one_at) return false;
    take_gap(place->second, i);
    copy(other, i, i + 1);
    one_at = place->second + 1;
    other_at = i + 1;
  }
  take_gap(one.size(), other.size());
  return true;
}

}  // namespace groundstation
