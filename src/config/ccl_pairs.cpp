#include "config/ccl_pairs.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>

#include "config/ccl.h"

namespace config {
namespace {

constexpr size_t kFirstSlots = 64;

size_t hash_of(const char* key) { return std::hash<std::string_view>{}(key); }

}  // namespace

// Heads one block that goes on with the two strings.
struct PairCollector::Entry {
  BstNode node;
  CclPair pair;
};

PairCollector::Beginning PairCollector::beginning_of(const char* key) {
  uint8_t bytes[kBeginning] = {};
  std::memcpy(bytes, key, strnlen(key, kBeginning));
  Beginning beginning{};
  std::memcpy(&beginning, bytes, sizeof(beginning));
  if constexpr (std::endian::native == std::endian::little) {
    for (uint64_t& word : beginning.words) word = __builtin_bswap64(word);
  }
  return beginning;
}

bool PairCollector::is_less(const Slot& a, const Slot& b) {
  if (a.beginning != b.beginning) return a.beginning < b.beginning;
  return std::strcmp(a.entry->pair.key, b.entry->pair.key) < 0;
}

size_t PairCollector::find(const char* key, size_t hash) const {
  const size_t mask = slots_.size() - 1;
  size_t at = hash & mask;
  while (slots_[at].entry != nullptr &&
         (slots_[at].hash != hash || std::strcmp(slots_[at].entry->pair.key, key) != 0)) {
    at = (at + 1) & mask;
  }
  return at;
}

bool PairCollector::holds(const char* key) const {
  return !slots_.empty() && slots_[find(key, hash_of(key))].entry != nullptr;
}

bool PairCollector::grow() {
  std::vector<Slot> old;
  try {
    old.resize(std::max(kFirstSlots, 2 * slots_.size()));
  } catch (const std::bad_alloc&) {
    return false;
  }
  old.swap(slots_);
  const size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.entry == nullptr) continue;
    size_t at = slot.hash & mask;
    while (slots_[at].entry != nullptr) at = (at + 1) & mask;
    slots_[at] = slot;
  }
  return true;
}

bool PairCollector::add(const char* key, const char* value) {
  if (4 * (count_ + 1) > 3 * slots_.size() && !grow()) return false;
  const size_t key_size = std::strlen(key) + 1;
  const size_t value_size = std::strlen(value) + 1;
  void* block = std::malloc(sizeof(Entry) + key_size + value_size);
  if (block == nullptr) return false;
  auto* entry = static_cast<Entry*>(block);
  char* text = static_cast<char*>(block) + sizeof(Entry);
  entry->pair.key = static_cast<char*>(std::memcpy(text, key, key_size));
  entry->pair.value = static_cast<char*>(std::memcpy(text + key_size, value, value_size));
  entry->node.item = &entry->pair;
  const size_t hash = hash_of(key);
  slots_[find(key, hash)] = {beginning_of(key), hash, entry};
  count_++;
  return true;
}

void PairCollector::hand_over(BstTree* table) {
  std::erase_if(slots_, [](const Slot& slot) { return slot.entry == nullptr; });
  std::sort(slots_.begin(), slots_.end(), is_less);
  BstNode* greatest = nullptr;
  for (const Slot& slot : slots_) {
    slot.entry->node.link[0] = greatest;
    greatest = &slot.entry->node;
  }
  bst_fill(table, greatest, count_);
  slots_.clear();
  count_ = 0;
}

}  // namespace config
