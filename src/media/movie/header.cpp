#include "media/movie/header.h"

#include <sys/types.h>

#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <memory>
#include <utility>

#include "media/movie/atoms.h"

namespace media {
namespace {

constexpr uint64_t kSmallestMoov = 16;

// Places in the scan that the error line names.
enum ErrorLine : int { kLineSize = 497, kLineFtyp = 530, kLineMoov = 555 };

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t, Free>;

// The scan of one file, at one of its atoms.
struct Scan {
  std::FILE* file;
  MovHeader* header;
  uint64_t position;  // sum of the sizes of the atoms before this one
  off_t start;        // of this atom
  uint32_t type;
  uint64_t size;  // of this atom, its header included

  [[nodiscard]] bool seek_start() const { return fseeko(file, start, SEEK_SET) == 0; }
  // A size that the file system cannot seek to is an error. Beyond the end of the file is none: the
  // next read finds the end.
  [[nodiscard]] bool seek_past() const {
    off_t end = 0;
    return !__builtin_add_overflow(start, size, &end) && fseeko(file, end, SEEK_SET) == 0;
  }
  void print(const char* name) const {
    std::printf("%s atom:%10" PRIu64 " %" PRIu64 "\n", name, position, size);
  }
};

int32_t read_error(int line) {
  std::fprintf(stderr, "%s(line:%d)Read data ERROR!!! \n", "mov_get_header_atom", line);
  return -1;
}

// Copies the whole atom. Null after a failure, which it has printed.
Block load_atom(const Scan& scan, const char* name, uint64_t largest, int line) {
  // Untouched memory costs nothing: a size that lies is found out by the read.
  Block block(scan.size > largest ? nullptr : static_cast<uint8_t*>(std::malloc(scan.size)));
  if (block == nullptr) {
    std::fprintf(stderr, "could not allocate %" PRIu64 " bytes for %s atom\n", scan.size, name);
    return nullptr;
  }
  if (!scan.seek_start() || std::fread(block.get(), 1, scan.size, scan.file) != scan.size) {
    read_error(line);
    return nullptr;
  }
  return block;
}

// Puts a copy into the header; of a type that occurs more than once the last one counts.
int32_t keep(const Scan& scan, const char* name, Block block, uint8_t** data, uint64_t* size) {
  std::free(*data);
  *data = block.release();
  *size = scan.size;
  scan.print(name);
  return 0;
}

int32_t take_mdat(const Scan& scan) {
  scan.header->mdat_offset = static_cast<uint64_t>(scan.start);
  scan.header->mdat_size = scan.size;
  if (!scan.seek_past()) return -1;
  scan.print("mdat");
  return 0;
}

int32_t take_moov(const Scan& scan) {
  if (scan.size < kSmallestMoov) {
    std::fprintf(stderr, "bad moov atom size\n");
    return -1;
  }
  scan.header->moov_offset = static_cast<uint64_t>(scan.start);
  Block block = load_atom(scan, "moov", kMovLargestMoov, kLineMoov);
  if (block == nullptr) return -1;
  if (mov_load_u32(block.get() + 12) == mov_type("cmov")) {
    std::fprintf(stderr, "this utility does not support compressed moov atoms yet\n");
    return -1;
  }
  return keep(scan, "moov", std::move(block), &scan.header->moov_data, &scan.header->moov_size);
}

int32_t take_ftyp(const Scan& scan) {
  if (scan.size > kMovLargestFtyp) {
    std::fprintf(stderr, "ftyp atom size %" PRIu64 " too big\n", scan.size);
    return -1;
  }
  scan.header->ftyp_offset = static_cast<uint64_t>(scan.start);
  Block block = load_atom(scan, "ftyp", kMovLargestFtyp, kLineFtyp);
  if (block == nullptr) return -1;
  return keep(scan, "ftyp", std::move(block), &scan.header->ftyp_data, &scan.header->ftyp_size);
}

int32_t take_other(const Scan& scan) {
  constexpr uint32_t kSkipped[] = {mov_type("free"), mov_type("junk"), mov_type("pnot"),
                                   mov_type("skip"), mov_type("wide"), mov_type("PICT"),
                                   mov_type("uuid")};
  if (!scan.seek_past()) return -1;
  if (std::find(std::begin(kSkipped), std::end(kSkipped), scan.type) == std::end(kSkipped)) {
    std::fprintf(stderr, "encountered non-QT top-level atom (is this a QuickTime file?)\n");
    return -1;
  }
  const char name[] = {mov_type_char(scan.type, 0), mov_type_char(scan.type, 1),
                       mov_type_char(scan.type, 2), mov_type_char(scan.type, 3), '\0'};
  scan.print(name);
  return 0;
}

struct TopAtom {
  uint32_t type;
  int32_t (*take)(const Scan& scan);
};
constexpr TopAtom kTopAtoms[] = {
    {mov_type("mdat"), take_mdat}, {mov_type("moov"), take_moov}, {mov_type("ftyp"), take_ftyp}};

int32_t take_atom(const Scan& scan) {
  for (const TopAtom& atom : kTopAtoms) {
    if (atom.type == scan.type) return atom.take(scan);
  }
  return take_other(scan);
}

// Reads the header of the next atom: 1; 0 at the end of the file; -1 at an error.
int32_t next_atom(Scan* scan) {
  uint8_t bytes[kMovShortHeader];
  scan->start = ftello(scan->file);
  if (scan->start < 0) return -1;
  if (std::fread(bytes, 1, sizeof(bytes), scan->file) != sizeof(bytes)) return 0;
  scan->size = mov_load_u32(bytes);
  scan->type = mov_load_u32(bytes + 4);
  if (scan->size == 1) {
    if (std::fread(bytes, 1, sizeof(bytes), scan->file) != sizeof(bytes)) {
      return read_error(kLineSize);
    }
    scan->size = mov_load_u64(bytes);
  }
  // A size of 0 is deliberately no atom that reaches to the end of the file.
  return scan->size < kMovShortHeader ? -1 : 1;
}

}  // namespace

int32_t mov_get_header_atom(std::FILE* file, MovHeader* header) {
  if (file == nullptr || header == nullptr) return -1;
  Scan scan{file, header, 0, 0, 0, 0};
  for (int atoms = 0; atoms < kMovMostTopAtoms; atoms++) {
    const int32_t found = next_atom(&scan);
    if (found < 0) return -1;
    if (found == 0) return fseeko(file, 0, SEEK_SET) == 0 ? 0 : -1;
    if (take_atom(scan) < 0) return -1;
    scan.position += scan.size;
  }
  return -1;
}

void mov_header_free(MovHeader* header) {
  if (header == nullptr) return;
  std::free(header->ftyp_data);
  std::free(header->moov_data);
  *header = {};
}

}  // namespace media
