// The atoms of an MP4 or QuickTime file in memory: a size, a type of four characters, a payload.
//
// Everything in such a file is big-endian and nothing in it is trusted. Progress goes to standard
// output, errors to standard error.
#pragma once

#include <cstdint>

namespace media {

// The size and the type, without a size of 64 bits behind them.
inline constexpr uint64_t kMovShortHeader = 8;

[[nodiscard]] inline uint32_t mov_load_u32(const uint8_t* from) {
  uint32_t value = 0;
  for (int i = 0; i < 4; i++) value = (value << 8) | from[i];
  return value;
}

[[nodiscard]] inline uint64_t mov_load_u64(const uint8_t* from) {
  return (uint64_t{mov_load_u32(from)} << 32) | mov_load_u32(from + 4);
}

// The type of an atom as the number that its four characters make.
[[nodiscard]] constexpr uint32_t mov_type(const char (&text)[5]) {
  uint32_t value = 0;
  for (int i = 0; i < 4; i++) value = (value << 8) | static_cast<uint8_t>(text[i]);
  return value;
}

// One of the four characters of a type, 0 is the first; for printing with %c.
[[nodiscard]] constexpr char mov_type_char(uint32_t type, int place) {
  return static_cast<char>(type >> (24 - 8 * place));
}

// The payload lies inside the buffer that is being walked.
struct MovAtom {
  uint32_t type;
  const uint8_t* payload;
  uint64_t size;  // of the payload
};

struct MovIndex;
// Returns 0; negative when the atom was refused.
using MovHandler = int32_t (*)(MovIndex* context, const MovAtom* atom);

// Calls the handler for each atom of the buffer, in order. An atom that the handler refuses is
// printed ("process %c%c%c%c failed\n") and the walk goes on. Returns 0 at the end, also when less
// than 8 bytes are left; -1 at a size that cannot be, with its message.
int32_t mov_walk_atoms(const uint8_t* buffer, uint64_t length, MovHandler handler,
                       MovIndex* context);

}  // namespace media
