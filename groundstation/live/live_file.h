// Where the live video is written. Whole pictures only, so that it can be played at any moment and
// after any end.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/descriptor.h"

namespace groundstation {

// One thread per object.
class LiveFile {
 public:
  LiveFile() = default;
  LiveFile(const LiveFile&) = delete;
  LiveFile& operator=(const LiveFile&) = delete;
  // Removes a file that it has made and that got no picture.
  ~LiveFile();

  // "-" is standard output. A file that is there is kept unless `replace` is set, and then until the
  // first picture comes; a device or a pipe is written to in any case. Returns an empty text, or why
  // it cannot be done.
  [[nodiscard]] std::string open(const std::string& path, bool replace);
  [[nodiscard]] bool is_open() const { return file_.open(); }

  // All of it, or nothing that stays: false when it cannot be done, or when a signal came while a
  // pipe's reader took nothing.
  [[nodiscard]] bool write(std::span<const uint8_t> bytes);
  // Why a write failed; empty when none did, or only for a signal.
  [[nodiscard]] std::string trouble() const;
  // Returns an empty text, or why something may be lost.
  [[nodiscard]] std::string close();

 private:
  [[nodiscard]] bool write_regular(std::span<const uint8_t> bytes);
  [[nodiscard]] bool write_stream(std::span<const uint8_t> bytes);

  std::string path_;
  base::Descriptor file_;
  bool regular_ = false;
  bool made_ = false;  // by open()
  uint64_t written_ = 0;
  int error_ = 0;
};

}  // namespace groundstation
