#include "groundstation/commands/new_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/commands/media_transfer.h"
#include "groundstation/media/file.h"

namespace groundstation {
namespace {

constexpr uint64_t kListPatienceUs = 1'000'000;
constexpr uint64_t kFilePatienceUs = 10'000'000;
constexpr uint64_t kAppearUs = 2'000'000;  // so long after its report a file may take to be listed
constexpr uint64_t kLookAgainUs = 250'000;

}  // namespace

NewFile::NewFile(Session& session, std::string_view command, const NewFileRequest& request,
                 MediaKind kind)
    : session_(session),
      command_(command),
      request_(request),
      kind_(kind),
      media_(session, command_, kListPatienceUs) {}

MediaResult NewFile::look(std::vector<std::string>* names) {
  names->clear();
  return media_names(media_, kind_, names);
}

std::optional<ExitCode> NewFile::look_before() {
  if (request_.unnamed) return std::nullopt;
  trouble_ = media_.link.open(request_.port);
  if (!trouble_.empty()) return std::nullopt;
  result_ = look(&before_);
  asked_ = result_ == MediaResult::kDone;
  if (result_ != MediaResult::kInterrupted) return std::nullopt;
  return session_.out.fail(command_, ExitCode::kInterrupted, "interrupted");
}

void NewFile::look_after() {
  if (!asked_) return;
  const uint64_t give_up = base::monotonic_us() + kAppearUs;
  while (true) {
    std::vector<std::string> after;
    result_ = look(&after);
    if (result_ == MediaResult::kInterrupted) return;
    if (result_ == MediaResult::kDone) {
      std::set_difference(after.begin(), after.end(), before_.begin(), before_.end(),
                          std::back_inserter(new_));
    }
    if (!new_.empty() || base::monotonic_us() >= give_up) return;
    const Wait wait = session_.link.wait(base::monotonic_us() + kLookAgainUs,
                                         [](const CameraEvent&) { return false; });
    if (wait == Wait::kInterrupted) {
      result_ = MediaResult::kInterrupted;
      return;
    }
  }
}

std::string NewFile::why_unnamed() const {
  if (!trouble_.empty()) return trouble_;
  if (result_ == MediaResult::kInterrupted) return "interrupted";
  if (!asked_ || result_ != MediaResult::kDone) return "the media channel does not answer";
  const auto& status = session_.link.state().status;
  return fmt::format("the camera lists no new file (card: {}){}",
                     status.has_value() ? sd_code_text(status->sd_code) : "unknown",
                     kind_ == MediaKind::kVideo
                         ? "; it deletes videos of 1 MiB or less when a list is asked for"
                         : "");
}

ExitCode NewFile::done(std::string text, nlohmann::json fields) {
  const Output& out = session_.out;
  if (request_.unnamed) return out.done(command_, text, fields);
  look_after();
  if (!new_.empty()) {
    fields["name"] = new_.back();
    if (new_.size() > 1) fields["names"] = new_;
    text += fmt::format(": {}", fmt::join(new_, ", "));
    return request_.get ? fetch(text, std::move(fields)) : out.done(command_, text, fields);
  }
  const std::string why = why_unnamed();
  text += fmt::format("; the name of its file is not known: {}", why);
  fields["name_unknown"] = why;
  if (result_ == MediaResult::kInterrupted) {
    return out.fail(command_, ExitCode::kInterrupted, text, fields);
  }
  if (!request_.get) return out.done(command_, text, fields);
  return out.fail(command_, asked_ ? ExitCode::kRefused : ExitCode::kNoCamera, text, fields);
}

ExitCode NewFile::fetch(const std::string& text, nlohmann::json fields) {
  const Output& out = session_.out;
  const std::string& name = new_.back();
  const auto fail = [&](ExitCode code, std::string_view why) {
    return out.fail(command_, code, fmt::format("{}; it could not be fetched: {}", text, why),
                    fields);
  };
  if (!request_.folder.empty()) {
    if (const std::string trouble = make_folder(request_.folder); !trouble.empty()) {
      return fail(ExitCode::kRefused, trouble);
    }
  }
  out.note(text);
  MediaSession media(session_, command_, kFilePatienceUs);
  std::string trouble = media.link.open(request_.port);
  if (!trouble.empty()) return fail(ExitCode::kNoCamera, trouble);
  MediaSize size;
  const MediaResult result = media.client.size(kind_, name, &size);
  if (result == MediaResult::kInterrupted) return fail(ExitCode::kInterrupted, "interrupted");
  if (result != MediaResult::kDone) return fail(ExitCode::kNoCamera, "the camera does not answer");
  TransferProgress progress(out, false);
  const MediaItem item{kind_, name, media_output_path(request_.folder, name), 0, request_.force};
  const MediaTransfer transfer = media_transfer(media, item, size, &progress);
  if (transfer.code != ExitCode::kDone) return fail(transfer.code, transfer.text);
  for (const char* field : {"file", "bytes", "mbyte_per_s"}) fields[field] = transfer.fields[field];
  return out.done(command_, transfer.text, fields);
}

void add_new_file_options(CLI::App* command, NewFileRequest* request) {
  CLI::Option* get = command->add_flag("--get", request->get, "Fetch the new file as well");
  command->add_option("-o,--output", request->folder, "Folder for it, made if need be")->needs(get);
  command->add_flag("-f,--force", request->force, "Replace a file that is here")->needs(get);
  command
      ->add_flag("--no-name", request->unnamed,
                 "Do not ask the camera's list for the new file's name")
      ->excludes(get);
  add_port(command, "--media-port", &request->port, "UDP port of the camera's media channel");
}

}  // namespace groundstation
