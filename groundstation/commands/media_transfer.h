// One file from the card to this machine, and what is shown meanwhile.
#pragma once

#include <string>

#include "groundstation/commands/media.h"
#include "groundstation/terminal/progress_line.h"
#include "groundstation/terminal/rate.h"

namespace groundstation {

struct MediaItem {
  MediaKind kind;
  std::string name;  // as the camera knows it
  std::string path;
  uint64_t from = 0;
  bool force = false;
};

// What came of one download.
struct MediaTransfer {
  ExitCode code = ExitCode::kDone;
  std::string text;
  nlohmann::json fields = nlohmann::json::object();
  uint64_t bytes = 0;
};

// The line for the file that comes now and, when there are several, for all of them.
class TransferProgress {
 public:
  TransferProgress(const Output& out, bool quiet) : line_(out, quiet) {}

  // Several files are coming: how many, and their bytes in all.
  void expect(size_t files, uint64_t bytes);
  void begin(const std::string& name);
  void show(const MediaDownload& download);
  // That file is through, in whatever way.
  void end(uint64_t bytes);

 private:
  [[nodiscard]] std::string outlook(uint64_t bytes, uint64_t total) const;

  ProgressLine line_;
  Rate rate_;
  std::string name_;
  size_t files_ = 1;
  size_t file_ = 0;  // of them, from 1
  uint64_t all_bytes_ = 0;
  uint64_t bytes_before_ = 0;  // of the files that are through
};

// Fetches a file of that size. Its file is there when it is complete, else as it was before.
[[nodiscard]] MediaTransfer media_transfer(MediaSession& media, const MediaItem& item,
                                           const MediaSize& size, TransferProgress* progress);

// Tells it as the end of a command, or of one of its files.
ExitCode media_tell(MediaSession& media, const MediaTransfer& transfer, const std::string& name);

// Makes a folder and those above it. Empty, or why it cannot be done.
[[nodiscard]] std::string make_folder(const std::string& path);

// "12.3 MB in 5.2 s, 2.37 MB/s"
[[nodiscard]] std::string amount_text(uint64_t bytes, uint64_t us);
[[nodiscard]] double megabytes_per_s(uint64_t bytes, uint64_t us);

}  // namespace groundstation
