// The pairs of a key/value file on their way into its table: they come in any order and leave
// sorted, so that the table is made at once and flat. A key is looked up by its hash, and sorting
// looks at the beginnings of the keys, which stand side by side.
//
// One owner thread. Internal to config/ccl.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "config/bst.h"

namespace config {

class PairCollector {
 public:
  PairCollector() = default;
  PairCollector(const PairCollector&) = delete;
  PairCollector& operator=(const PairCollector&) = delete;
  ~PairCollector() = default;

  [[nodiscard]] bool holds(const char* key) const;
  // Copies the two. The key must not be there yet. False, with nothing changed, when memory is
  // exhausted.
  [[nodiscard]] bool add(const char* key, const char* value);
  // To be called in the end: what has been collected is nobody's before. Fills the table, which is
  // empty and has the default allocator. An item and its strings are in the block of its node, so
  // the table needs no release callback.
  void hand_over(BstTree* table);

 private:
  struct Entry;

  // The first bytes of a key as numbers, so that their order is that of strcmp.
  static constexpr size_t kBeginning = 16;
  struct Beginning {
    uint64_t words[2];
    auto operator<=>(const Beginning&) const = default;
  };
  struct Slot {
    Beginning beginning;
    size_t hash;
    Entry* entry;  // null: the slot is empty
  };

  static Beginning beginning_of(const char* key);
  static bool is_less(const Slot& a, const Slot& b);
  // The slot that holds the key, else the empty one where it belongs. There are empty ones.
  [[nodiscard]] size_t find(const char* key, size_t hash) const;
  [[nodiscard]] bool grow();

  std::vector<Slot> slots_;  // none, or a power of two, of which at least a quarter is empty
  size_t count_ = 0;
};

}  // namespace config
