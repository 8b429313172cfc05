#include "groundstation/commands/media_transfer.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "base/clock.h"
#include "groundstation/media/file.h"

namespace groundstation {
namespace {

double megabytes(uint64_t bytes) { return static_cast<double>(bytes) / 1e6; }

MediaTransfer trouble_of(ExitCode code, std::string sentence) {
  return {code, std::move(sentence)};
}

// The sentence when the camera or the disk refused.
std::string refusal(const MediaItem& item, const MediaDownload& download, const MediaFile& file) {
  if (download.wrong_size()) {
    return fmt::format("{} has changed on the card while it was fetched", item.name);
  }
  if (download.failed()) return file.trouble();
  return fmt::format(
      "{} cannot be proved complete: too many datagrams are lost for a file whose "
      "contents repeat, or it changes on the card",
      item.name);
}

}  // namespace

void TransferProgress::expect(size_t files, uint64_t bytes) {
  files_ = files;
  all_bytes_ = bytes;
}

void TransferProgress::begin(const std::string& name) {
  name_ = name;
  file_++;
}

void TransferProgress::end(uint64_t bytes) {
  bytes_before_ += bytes;
  line_.clear();
}

// How long the rest takes, of all files if there are several.
std::string TransferProgress::outlook(uint64_t bytes, uint64_t total) const {
  const double per_second = rate_.per_second();
  if (files_ > 1) {
    bytes = bytes_before_ + std::min(bytes, total);
    total = std::max<uint64_t>(all_bytes_, 1);
  }
  std::string text =
      files_ > 1 ? fmt::format("  all {}%", std::min(bytes, total) * 100 / total) : "";
  if (per_second <= 0 || bytes >= total) return text;
  return text + fmt::format("{} {} left", files_ > 1 ? "," : " ",
                            time_text(static_cast<double>(total - bytes) / per_second));
}

void TransferProgress::show(const MediaDownload& download) {
  const uint64_t now = base::monotonic_us();
  const uint64_t bytes =
      download.recovering() ? download.proved_bytes() : download.first_pass_bytes();
  rate_.note(now, bytes);
  if (!line_.due(now)) return;
  const uint64_t total = std::max<uint64_t>(download.total_bytes(), 1);
  const std::string number = files_ > 1 ? fmt::format("{}/{} ", file_, files_) : "";
  const std::string figures =
      fmt::format("  {:.1f} of {:.1f} MB  {:.2f} MB/s{}{}", megabytes(bytes), megabytes(total),
                  rate_.per_second() / 1e6, outlook(bytes, total),
                  download.recovering() ? "  (datagrams were lost: proving from the end)" : "");
  const std::string head = number + name_ + " ";
  line_.show(head + line_.bar(bytes, total, head.size(), figures.size()) + figures, now);
}

MediaTransfer media_transfer(MediaSession& media, const MediaItem& item, const MediaSize& size,
                             TransferProgress* progress) {
  MediaFile file;
  progress->begin(item.name);
  if (std::string trouble = file.open(item.path, item.force); !trouble.empty()) {
    return trouble_of(ExitCode::kRefused, std::move(trouble));
  }
  MediaDownload download(size.bytes, item.from, file);
  const uint64_t start = base::monotonic_us();
  const uint64_t streams_before = media.client.streams();
  const MediaResult result =
      media.client.download(item.kind, item.name, &download, [&] { progress->show(download); });
  progress->end(download.total_bytes());
  switch (result) {
    case MediaResult::kDone:
      break;
    case MediaResult::kRefused:
      return trouble_of(ExitCode::kRefused, refusal(item, download, file));
    case MediaResult::kNotFound:
      return trouble_of(ExitCode::kRefused, fmt::format("{} is gone from the card", item.name));
    case MediaResult::kNoAnswer:
      return trouble_of(
          ExitCode::kNoCamera,
          fmt::format("the camera has stopped sending {}: {} of {} bytes had come", item.name,
                      download.first_pass_bytes(), download.total_bytes()));
    case MediaResult::kInterrupted:
      return trouble_of(ExitCode::kInterrupted,
                        fmt::format("interrupted; nothing of {} is kept", item.name));
  }
  const uint64_t us = base::monotonic_us() - start;
  if (std::string trouble = file.finish(); !trouble.empty()) {
    return trouble_of(ExitCode::kRefused, std::move(trouble));
  }
  const uint64_t streams = media.client.streams() - streams_before;
  MediaTransfer done;
  done.bytes = download.total_bytes();
  done.text =
      fmt::format("{}: {} bytes in {} ({:.2f} s, {:.2f} MB/s{})", item.name, done.bytes, item.path,
                  static_cast<double>(us) / 1e6, megabytes_per_s(done.bytes, us),
                  download.recovering()
                      ? fmt::format(", proved by {} streams since datagrams were lost", streams)
                      : "");
  done.fields = {{"name", item.name},
                 {"file", item.path},
                 {"bytes", done.bytes},
                 {"from", item.from},
                 {"seconds", static_cast<double>(us) / 1e6},
                 {"mbyte_per_s", megabytes_per_s(done.bytes, us)},
                 {"streams", streams},
                 {"lossless", !download.recovering()}};
  return done;
}

ExitCode media_tell(MediaSession& media, const MediaTransfer& transfer, const std::string& name) {
  const Output& out = media.session.out;
  if (transfer.code == ExitCode::kDone) {
    return out.done(media.command, transfer.text, transfer.fields);
  }
  return out.fail(media.command, transfer.code, transfer.text, {{"name", name}});
}

std::string make_folder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (!error && !std::filesystem::is_directory(path, error)) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  return error ? fmt::format("cannot make the folder {}: {}", path, error.message()) : "";
}

double megabytes_per_s(uint64_t bytes, uint64_t us) {
  return us == 0 ? 0 : static_cast<double>(bytes) / static_cast<double>(us);
}

std::string amount_text(uint64_t bytes, uint64_t us) {
  return fmt::format("{:.1f} MB in {:.1f} s, {:.2f} MB/s", megabytes(bytes),
                     static_cast<double>(us) / 1e6, megabytes_per_s(bytes, us));
}

}  // namespace groundstation
