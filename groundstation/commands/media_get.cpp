// media get: files from the card, every byte certain.
#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <set>

#include "base/clock.h"
#include "base/text.h"
#include "groundstation/commands/media_transfer.h"
#include "groundstation/media/file.h"
#include "groundstation/messages/whole_number.h"

namespace groundstation {
namespace {

constexpr double kGetPatienceS = 10;
constexpr std::array kKinds{MediaKind::kPhoto, MediaKind::kVideo};

bool is_pattern(const std::string& text) { return text.find_first_of("*?[") != std::string::npos; }

bool ends_everything(ExitCode code) {
  return code == ExitCode::kInterrupted || code == ExitCode::kNoCamera;
}

// A file that is wanted, by name or by a pattern.
struct Wanted {
  MediaKind kind;
  std::string name;
  MediaSize size;
  bool here = false;  // already, with the camera's size
};

// Several files: their sizes first, so that it is known how much comes, then one after the other.
class GetRun {
 public:
  GetRun(MediaSession& media, const MediaRequest& request)
      : media_(media), request_(request), progress_(media.session.out, request.quiet) {}

  ExitCode run();

 private:
  ExitCode find();
  ExitCode find_matches(const std::string& pattern);
  ExitCode look_at(MediaKind kind, const std::string& name);
  void add(MediaKind kind, const std::string& name);
  ExitCode fetch(const Wanted& wanted);
  ExitCode total(uint64_t us) const;
  ExitCode refuse(const std::string& name, const std::string& sentence);

  MediaSession& media_;
  const MediaRequest& request_;
  TransferProgress progress_;
  std::map<MediaKind, std::vector<std::string>> lists_;
  std::vector<Wanted> wanted_;
  std::set<std::string> names_;
  uint64_t bytes_ = 0;
  size_t fetched_ = 0;
  size_t here_ = 0;
  size_t failures_ = 0;
};

// One file that cannot be had; the others still can.
ExitCode GetRun::refuse(const std::string& name, const std::string& sentence) {
  failures_++;
  return media_.session.out.fail(media_.command, ExitCode::kRefused, sentence, {{"name", name}});
}

void GetRun::add(MediaKind kind, const std::string& name) {
  if (names_.insert(name).second) wanted_.push_back({kind, name, {}});
}

ExitCode GetRun::find_matches(const std::string& pattern) {
  for (const MediaKind kind : kKinds) {
    if (lists_.count(kind) != 0) continue;
    const MediaResult result = media_names(media_, kind, &lists_[kind]);
    if (result != MediaResult::kDone) return media_failed(media_, result, pattern, "");
  }
  bool found = false;
  for (const MediaKind kind : kKinds) {
    for (const std::string& name : lists_[kind]) {
      if (::fnmatch(pattern.c_str(), name.c_str(), 0) != 0) continue;
      found = true;
      add(kind, name);
    }
  }
  if (found || request_.all) return ExitCode::kDone;
  return refuse(pattern, fmt::format("nothing on the card matches {}", pattern));
}

// The size, and whether there is anything to fetch.
ExitCode GetRun::look_at(MediaKind kind, const std::string& name) {
  if (!base::safe_name(name)) {
    return refuse(name, fmt::format("{} is no safe file name; fetch it by itself with -o", name));
  }
  Wanted wanted{kind, name, {}};
  const MediaResult result = media_size(media_, kind, name, &wanted.size);
  if (result == MediaResult::kNotFound) failures_++;
  if (result != MediaResult::kDone) return media_failed(media_, result, name, "");
  std::error_code error;
  const uint64_t there =
      std::filesystem::file_size(media_output_path(request_.output, name), error);
  wanted.here = !error && !request_.force && there == wanted.size.bytes;
  wanted_.push_back(wanted);
  return ExitCode::kDone;
}

ExitCode GetRun::find() {
  for (const std::string& text : request_.names) {
    if (!is_pattern(text)) {
      add(known_media_kind(text), text);
    } else if (const ExitCode code = find_matches(text); ends_everything(code)) {
      return code;
    }
  }
  for (const Wanted& named : std::exchange(wanted_, {})) {
    if (const ExitCode code = look_at(named.kind, named.name); ends_everything(code)) return code;
  }
  return ExitCode::kDone;
}

ExitCode GetRun::fetch(const Wanted& wanted) {
  const MediaItem item{wanted.kind, wanted.name, media_output_path(request_.output, wanted.name), 0,
                       request_.force};
  const MediaTransfer transfer = media_transfer(media_, item, wanted.size, &progress_);
  bytes_ += transfer.bytes;
  (transfer.code == ExitCode::kDone ? fetched_ : failures_)++;
  return media_tell(media_, transfer, wanted.name);
}

ExitCode GetRun::total(uint64_t us) const {
  const size_t files = fetched_ + here_ + failures_;
  const nlohmann::json fields{{"files", files},
                              {"fetched", fetched_},
                              {"here", here_},
                              {"failures", failures_},
                              {"bytes", bytes_},
                              {"seconds", static_cast<double>(us) / 1e6},
                              {"mbyte_per_s", megabytes_per_s(bytes_, us)}};
  const Output& out = media_.session.out;
  if (failures_ > 0) {
    return out.fail(media_.command, ExitCode::kRefused,
                    fmt::format("{} of {} files could not be fetched", failures_, files), fields);
  }
  const std::string number =
      fmt::format("{}{} file{}", request_.all ? "all " : "", files, files == 1 ? "" : "s");
  if (files == 0) return out.done(media_.command, "there is no file on the card", fields);
  if (fetched_ == 0) return out.done(media_.command, number + ": here already", fields);
  return out.done(media_.command,
                  fmt::format("{}: {}{}", number, amount_text(bytes_, us),
                              here_ > 0 ? fmt::format(" ({} were here already)", here_) : ""),
                  fields);
}

ExitCode GetRun::run() {
  const Output& out = media_.session.out;
  if (const ExitCode code = find(); ends_everything(code)) return code;
  uint64_t bytes = 0;
  size_t coming = 0;
  for (const Wanted& wanted : wanted_) {
    if (wanted.here) continue;
    coming++;
    bytes += wanted.size.bytes;
  }
  if (coming > 0 && !request_.output.empty()) {
    if (const std::string trouble = make_folder(request_.output); !trouble.empty()) {
      return out.fail(media_.command, ExitCode::kRefused, trouble);
    }
  }
  progress_.expect(coming, bytes);
  const uint64_t start = base::monotonic_us();
  for (const Wanted& wanted : wanted_) {
    if (wanted.here) {
      here_++;
      out.event(fmt::format("{}: is here already", wanted.name),
                {{"name", wanted.name}, {"here", true}, {"bytes", wanted.size.bytes}});
    } else if (const ExitCode code = fetch(wanted); ends_everything(code)) {
      return code;
    }
  }
  return total(base::monotonic_us() - start);
}

ExitCode get_one(MediaSession& media, const MediaRequest& request) {
  const std::string& name = request.names[0];
  const Output& out = media.session.out;
  if (request.output.empty() && !base::safe_name(name)) {
    return out.fail(media.command, ExitCode::kUsage,
                    fmt::format("{} is no file name here; give one with -o", name));
  }
  const MediaKind kind = known_media_kind(name);
  MediaSize size;
  const MediaResult result = media_size(media, kind, name, &size);
  if (result != MediaResult::kDone) return media_failed(media, result, name, "");
  if (request.from_byte > size.bytes) {
    return out.fail(media.command, ExitCode::kRefused,
                    fmt::format("{} has only {} bytes: --from {} lies behind its end", name,
                                size.bytes, request.from_byte),
                    {{"name", name}, {"bytes", size.bytes}});
  }
  TransferProgress progress(out, request.quiet);
  const MediaItem item{kind, name, media_output_path(request.output, name), request.from_byte,
                       request.force};
  return media_tell(media, media_transfer(media, item, size, &progress), name);
}

// CLI11 reads "-1" as a huge number and "010" as 8.
const CLI::Validator kByteOffset(
    [](std::string& text) {
      constexpr uint64_t kLargest = INT64_MAX;  // the camera's own limit
      const auto number = whole_number<uint64_t>(text);
      return number.has_value() && *number <= kLargest
                 ? std::string()
                 : fmt::format(
                       "{} is no offset in a file: give the first byte that is wanted, a "
                       "whole number from 0 on",
                       text);
    },
    "BYTE");

void check_usage(const MediaRequest& request, bool from_given) {
  if (request.names.empty() && !request.all) throw CLI::RequiredError("NAME or --all");
  for (const std::string& name : request.names) {
    if (!is_pattern(name)) known_media_kind(name);
  }
  if (from_given && (request.names.size() != 1 || is_pattern(request.names[0]))) {
    throw CLI::ValidationError("--from", "it goes with the name of one file");
  }
}

}  // namespace

void add_media_get_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                           Action* chosen) {
  CLI::App* get = media.add_subcommand("get",
                                       "Download files. What was lost on the way is fetched again, "
                                       "from the end of a file backward,\n"
                                       "until every byte is certain. Of several, those that are "
                                       "here already with the same size are\n"
                                       "left out.");
  CLI::Option* names = get->add_option(
      "NAME", request->names, "Files on the card; also patterns such as '*PW*', in quotes");
  get->add_option("-o,--output", request->output,
                  "File, or a folder that is there; for several files a folder, made if need be");
  CLI::Option* from = get->add_option("--from", request->from_byte,
                                      "First byte that is wanted; the output holds the rest")
                          ->check(kByteOffset);
  get->add_flag("--all", request->all, "Every photo and video")->excludes(names)->excludes(from);
  get->add_flag("-f,--force", request->force, "Replace files that are here");
  get->add_flag("-q,--quiet", request->quiet, "No progress");
  get->callback([request, from, chosen] {
    check_usage(*request, from->count() > 0);
    const bool one = request->names.size() == 1 && !is_pattern(request->names[0]);
    if (request->all) request->names = {"*"};
    *chosen = media_action(
        "media get", request->port, kGetPatienceS, [request, one](MediaSession& session) {
          return one ? get_one(session, *request) : GetRun(session, *request).run();
        });
  });
}

}  // namespace groundstation
