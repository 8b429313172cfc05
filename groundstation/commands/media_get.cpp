// media get and media thumb: files from the card, every byte certain.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "base/clock.h"
#include "base/text.h"
#include "groundstation/commands/media.h"
#include "groundstation/media/file.h"

namespace groundstation {
namespace {

constexpr double kGetPatienceS = 10;
constexpr double kThumbPatienceS = 30;
constexpr uint64_t kTerminalBarUs = 100'000;
constexpr uint64_t kLogLineUs = 1'000'000;
constexpr uint64_t kBarWidth = 30;

struct MediaItem {
  MediaKind kind;
  std::string name;
  std::string path;
  uint64_t from = 0;
  bool force = false;
};

// What came of one download.
struct MediaTransfer {
  ExitCode code = ExitCode::kDone;
  std::string text;
  nlohmann::json fields = nlohmann::json::object();
};

double megabytes_per_s(uint64_t bytes, uint64_t us) {
  return us == 0 ? 0 : static_cast<double>(bytes) / static_cast<double>(us);
}

class ProgressBar {
 public:
  ProgressBar(const Output& out, std::string name, bool quiet)
      : to_(out.stream()),
        name_(std::move(name)),
        quiet_(quiet || out.json()),
        terminal_(::isatty(fileno(to_)) == 1) {}
  ~ProgressBar() {
    if (open_) fmt::print(to_, "\r\x1b[K");
  }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(const MediaDownload& download);

 private:
  std::FILE* to_;
  std::string name_;
  bool quiet_;
  bool terminal_;
  bool open_ = false;
  uint64_t start_us_ = base::monotonic_us();
  uint64_t shown_us_ = start_us_;
};

void ProgressBar::show(const MediaDownload& download) {
  const uint64_t now = base::monotonic_us();
  if (quiet_ || now < shown_us_ + (terminal_ ? kTerminalBarUs : kLogLineUs)) return;
  shown_us_ = now;
  const uint64_t bytes =
      download.recovering() ? download.proved_bytes() : download.first_pass_bytes();
  const uint64_t total = std::max<uint64_t>(download.total_bytes(), 1);
  const std::string bar(bytes * kBarWidth / total, '#');
  fmt::print(to_, "{}{} [{:<{}}] {:3}%  {:.1f} of {:.1f} MB  {:.2f} MB/s{}{}",
             terminal_ ? "\r\x1b[K" : "", name_, bar, kBarWidth, bytes * 100 / total,
             static_cast<double>(bytes) / 1e6, static_cast<double>(total) / 1e6,
             megabytes_per_s(bytes, now - start_us_),
             download.recovering() ? "  (datagrams were lost: proving from the end)" : "",
             terminal_ ? "" : "\n");
  std::fflush(to_);
  open_ = terminal_;
}

MediaTransfer transfer_trouble(ExitCode code, std::string sentence) {
  return {code, std::move(sentence), {}};
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

MediaResult fetch(MediaSession& media, const MediaItem& item, bool quiet, const MediaSize& size,
                  MediaTransfer* transfer) {
  MediaFile file;
  if (std::string trouble = file.open(item.path, item.force); !trouble.empty()) {
    *transfer = transfer_trouble(ExitCode::kRefused, std::move(trouble));
    return MediaResult::kDone;
  }
  MediaDownload download(size.bytes, item.from, file);
  const uint64_t start = base::monotonic_us();
  const uint64_t streams_before = media.client.streams();
  MediaResult result = MediaResult::kDone;
  {
    ProgressBar bar(media.session.out, item.name, quiet);
    result = media.client.download(item.kind, item.name, &download, [&] { bar.show(download); });
  }
  if (result == MediaResult::kRefused) {
    *transfer = transfer_trouble(ExitCode::kRefused, refusal(item, download, file));
    return MediaResult::kDone;
  }
  if (result != MediaResult::kDone) return result;
  const uint64_t us = base::monotonic_us() - start;
  if (std::string trouble = file.finish(); !trouble.empty()) {
    *transfer = transfer_trouble(ExitCode::kRefused, std::move(trouble));
    return MediaResult::kDone;
  }
  const uint64_t streams = media.client.streams() - streams_before;
  const double rate = megabytes_per_s(download.total_bytes(), us);
  transfer->text =
      fmt::format("{}: {} bytes in {} ({:.2f} s, {:.2f} MB/s{})", item.name, download.total_bytes(),
                  item.path, static_cast<double>(us) / 1e6, rate,
                  download.recovering()
                      ? fmt::format(", proved by {} streams since datagrams were lost", streams)
                      : "");
  transfer->fields = {{"name", item.name},
                      {"file", item.path},
                      {"bytes", download.total_bytes()},
                      {"from", item.from},
                      {"seconds", static_cast<double>(us) / 1e6},
                      {"mbyte_per_s", rate},
                      {"streams", streams},
                      {"lossless", !download.recovering()}};
  return MediaResult::kDone;
}

ExitCode tell(MediaSession& media, const MediaTransfer& transfer, const std::string& name) {
  const Output& out = media.session.out;
  if (transfer.code == ExitCode::kDone) {
    return out.done(media.command, transfer.text, transfer.fields);
  }
  return out.fail(media.command, transfer.code, transfer.text, {{"name", name}});
}

ExitCode get_item(MediaSession& media, const MediaItem& item, bool quiet) {
  MediaSize size;
  MediaResult result = media.client.size(item.kind, item.name, &size);
  MediaTransfer transfer;
  if (result == MediaResult::kDone) result = fetch(media, item, quiet, size, &transfer);
  if (result != MediaResult::kDone) return media_failed(media, result, item.name, "");
  return tell(media, transfer, item.name);
}

ExitCode get_one(MediaSession& media, const MediaRequest& request) {
  const std::string& name = request.name;
  if (request.output.empty() && !base::safe_name(name)) {
    return media.session.out.fail(media.command, ExitCode::kUsage,
                                  fmt::format("{} is no file name here; give one with -o", name));
  }
  return get_item(media,
                  {known_media_kind(name), name, media_output_path(request.output, name),
                   request.from_byte, request.force},
                  request.quiet);
}

// One file of get --all. One that is there already with the camera's size is taken for done.
ExitCode get_listed(MediaSession& media, const MediaRequest& request, MediaKind kind,
                    const std::string& name) {
  const Output& out = media.session.out;
  if (!base::safe_name(name)) {
    return out.fail(media.command, ExitCode::kRefused,
                    fmt::format("{} is no safe file name; fetch it by itself with -o", name),
                    {{"name", name}});
  }
  const MediaItem item{kind, name, media_output_path(request.output, name), 0, request.force};
  std::error_code error;
  const uint64_t there = std::filesystem::file_size(item.path, error);
  if (!error && !request.force) {
    MediaSize size;
    const MediaResult result = media.client.size(kind, name, &size);
    if (result != MediaResult::kDone) return media_failed(media, result, name, "");
    if (size.bytes == there) {
      out.event(fmt::format("{}: is here already", name), {{"skipped", name}, {"bytes", there}});
      return ExitCode::kDone;
    }
  }
  return get_item(media, item, request.quiet);
}

bool ends_everything(ExitCode code) {
  return code == ExitCode::kInterrupted || code == ExitCode::kNoCamera;
}

ExitCode get_all(MediaSession& media, const MediaRequest& request) {
  const Output& out = media.session.out;
  std::error_code error;
  if (!request.output.empty()) std::filesystem::create_directories(request.output, error);
  if (error) {
    return out.fail(media.command, ExitCode::kRefused,
                    fmt::format("cannot make {}: {}", request.output, error.message()));
  }
  size_t files = 0;
  size_t failures = 0;
  for (const MediaKind kind : {MediaKind::kPhoto, MediaKind::kVideo}) {
    std::vector<std::string> names;
    const MediaResult result = media.client.list(kind, &names);
    if (result != MediaResult::kDone) return media_failed(media, result, "list", "");
    for (const std::string& name : names) {
      const ExitCode code = get_listed(media, request, kind, name);
      if (ends_everything(code)) return code;
      files++;
      if (code != ExitCode::kDone) failures++;
    }
  }
  if (failures > 0) {
    return out.fail(media.command, ExitCode::kRefused,
                    fmt::format("{} of {} files could not be fetched", failures, files),
                    {{"files", files}, {"failures", failures}});
  }
  return out.done(media.command, fmt::format("all {} files of the card are here", files),
                  {{"files", files}});
}

ExitCode get_thumbnail(MediaSession& media, const MediaRequest& request) {
  const std::string& name = request.name;
  const MediaKind kind = known_media_kind(name);
  std::string own = name.substr(0, name.rfind('.'));
  own += kind == MediaKind::kVideo ? "_v.JPG" : "_p.JPG";
  if (request.output.empty() && !base::safe_name(own)) {
    return media.session.out.fail(media.command, ExitCode::kUsage,
                                  fmt::format("{} is no file name here; give one with -o", own));
  }
  MediaSize size;
  // An unknown file would make the camera say nothing at all.
  MediaResult result = media.client.size(kind, name, &size);
  if (result == MediaResult::kDone) result = media.client.make_thumbnail(name, &size);
  MediaTransfer transfer;
  if (result == MediaResult::kDone) {
    const MediaItem item{MediaKind::kThumbnail, name, media_output_path(request.output, own), 0,
                         request.force};
    result = fetch(media, item, request.quiet, size, &transfer);
  }
  if (result != MediaResult::kDone) {
    return media_failed(media, result, name,
                        fmt::format("the camera cannot make a thumbnail of {}", name));
  }
  return tell(media, transfer, name);
}

}  // namespace

void add_media_get_commands(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen) {
  CLI::App* get = media.add_subcommand(
      "get",
      "Download a file, or all. What was lost on the way is fetched again, from the end of the\n"
      "file backward, until every byte is certain.");
  CLI::Option* name = get->add_option("NAME", request->name, "File on the card");
  get->add_option("-o,--output", request->output,
                  "File, or a folder that is there; with --all a "
                  "folder");
  CLI::Option* from = get->add_option("--from", request->from_byte,
                                      "First byte that is wanted; the output holds the rest");
  get->add_flag("--all", request->all, "Every photo and video; what is here already is left out")
      ->excludes(name)
      ->excludes(from);
  get->add_flag("-f,--force", request->force, "Replace files that are here");
  get->add_flag("-q,--quiet", request->quiet, "No progress");
  get->callback([request, chosen] {
    if (!request->all && request->name.empty()) throw CLI::RequiredError("NAME or --all");
    if (!request->all) known_media_kind(request->name);
    *chosen =
        media_action("media get", request->port, kGetPatienceS, [request](MediaSession& session) {
          return request->all ? get_all(session, *request) : get_one(session, *request);
        });
  });

  CLI::App* thumb = media.add_subcommand(
      "thumb", "Download the thumbnail of a photo or video; the camera makes it if it has none.");
  thumb->add_option("NAME", request->name, "Photo or video on the card")->required();
  thumb->add_option("-o,--output", request->output, "File, or a folder that is there");
  thumb->add_flag("-f,--force", request->force, "Replace a file that is here");
  thumb->add_flag("-q,--quiet", request->quiet, "No progress");
  thumb->callback([request, chosen] {
    known_media_kind(request->name);
    *chosen =
        media_action("media thumb", request->port, kThumbPatienceS,
                     [request](MediaSession& session) { return get_thumbnail(session, *request); });
  });
}

}  // namespace groundstation
