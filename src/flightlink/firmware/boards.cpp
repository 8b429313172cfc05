#include "flightlink/firmware/boards.h"

#include "base/relaxed.h"

#include <unistd.h>

#include <atomic>

namespace flightlink {
namespace {

using base::kRelaxed;

struct BoardRow {
  uint8_t type;
  const char* image;
};

// In the order in which they are served. Types 4 and 6 are no boards.
constexpr BoardRow kBoards[] = {
    {kBoardGimbal, "/tmp/SD0/gimbalfw"},
    {kBoardFlightController, "/tmp/SD0/flyctrolfw"},
    {kBoardRepeater, "/tmp/SD0/repeatorfw"},
};

constexpr uint32_t bit_of(uint8_t type) { return 1U << type; }

std::atomic<uint32_t> pending;

}  // namespace

void firmware_init() {
  uint32_t found = 0;
  for (const BoardRow& row : kBoards) {
    if (access(row.image, F_OK) == 0) found |= bit_of(row.type);
  }
  pending.store(found, kRelaxed);
}

uint8_t firmware_board_type() {
  const uint32_t mask = pending.load(kRelaxed);
  for (const BoardRow& row : kBoards) {
    if ((mask & bit_of(row.type)) != 0) return row.type;
  }
  return kBoardCamera;
}

uint32_t firmware_board_mask() { return pending.load(kRelaxed); }

void firmware_board_done(uint8_t type) {
  if (type < 8) pending.fetch_and(~bit_of(type), kRelaxed);
}

const char* firmware_image_path(uint8_t type) {
  for (const BoardRow& row : kBoards) {
    if (row.type == type) return row.image;
  }
  return nullptr;
}

}  // namespace flightlink
