// A file that is made under a temporary name and takes its own when it is complete, so that nothing
// incomplete ever has that name and nothing that was there is lost.
#pragma once

#include <string>

#include "base/descriptor.h"
#include "groundstation/media/download.h"

namespace groundstation {

class MediaFile : public MediaStore {
 public:
  MediaFile() = default;
  MediaFile(const MediaFile&) = delete;
  MediaFile& operator=(const MediaFile&) = delete;
  // Removes what was not finished.
  ~MediaFile() override;

  // Operations that return a text: empty, or why it cannot be done.
  // `replace`: a file of that name may be there and is replaced at the end.
  [[nodiscard]] std::string open(const std::string& path, bool replace);
  [[nodiscard]] std::string finish();

  bool write(uint64_t at, std::span<const uint8_t> bytes) override;
  bool read(uint64_t at, std::span<uint8_t> bytes) override;
  [[nodiscard]] std::string trouble() const;

 private:
  std::string path_;
  std::string temporary_;
  bool replace_ = false;
  int error_ = 0;
  base::Descriptor file_;
};

// Where a download of `name` goes: to `output`, to `output`/name when that is a folder, to the
// current folder when it is empty.
[[nodiscard]] std::string media_output_path(const std::string& output, const std::string& name);

}  // namespace groundstation
