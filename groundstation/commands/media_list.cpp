// media list: what the camera has, with sizes, dates and durations if they are asked for.
#include <fmt/format.h>

#include <algorithm>

#include "base/clock.h"
#include "groundstation/commands/media.h"
#include "groundstation/terminal/progress_line.h"
#include "groundstation/terminal/rate.h"

namespace groundstation {
namespace {

constexpr double kListPatienceS = 10;

struct ListedFile {
  MediaKind kind;
  std::string name;
  std::optional<MediaSize> size;  // if it was asked for; a file may be gone by then
};

std::string long_line(const ListedFile& file) {
  const std::string date = media_date(file.name);
  const std::string bytes = file.size ? fmt::format("{}", file.size->bytes) : "-";
  const std::string duration =
      file.size && file.size->seconds ? time_text(static_cast<double>(*file.size->seconds)) : "-";
  return fmt::format("{:>12}  {:19}  {:>7}  {}", bytes, date.empty() ? "-" : date, duration,
                     file.name);
}

nlohmann::json list_entry(const ListedFile& file) {
  nlohmann::json entry{{"name", file.name}, {"kind", media_kind_word(file.kind)}};
  if (const std::string date = media_date(file.name); !date.empty()) entry["date"] = date;
  if (file.size.has_value()) {
    entry["bytes"] = file.size->bytes;
    if (file.size->seconds.has_value()) entry["seconds"] = *file.size->seconds;
  }
  return entry;
}

MediaResult ask_sizes(MediaSession& media, bool quiet, std::vector<ListedFile>* files) {
  ProgressLine line(media.session.out, quiet);
  for (size_t i = 0; i < files->size(); i++) {
    ListedFile& file = (*files)[i];
    const uint64_t now = base::monotonic_us();
    if (line.due(now)) line.show(fmt::format("size {} of {}", i + 1, files->size()), now);
    MediaSize size;
    const MediaResult result = media.client.size(file.kind, file.name, &size);
    if (result == MediaResult::kDone) file.size = size;
    if (result != MediaResult::kDone && result != MediaResult::kNotFound) return result;
  }
  return MediaResult::kDone;
}

std::string count_text(size_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

ExitCode list_media(MediaSession& media, const std::vector<MediaKind>& kinds, bool detailed) {
  const Output& out = media.session.out;
  std::vector<ListedFile> files;
  nlohmann::json fields = nlohmann::json::object();
  std::string counts;
  for (const MediaKind kind : kinds) {
    const std::string what(media_kind_word(kind));
    std::vector<std::string> names;
    const MediaResult result = media_names(media, kind, &names);
    if (result != MediaResult::kDone) return media_failed(media, result, what + "s", "");
    for (const std::string& name : names) files.push_back({kind, name, std::nullopt});
    fields[what + "s"] = names.size();
    counts += (counts.empty() ? "" : ", ") + count_text(names.size(), what);
  }
  std::stable_sort(files.begin(), files.end(),
                   [](const ListedFile& a, const ListedFile& b) { return a.name < b.name; });
  if (detailed) {
    const MediaResult result = ask_sizes(media, false, &files);
    if (result != MediaResult::kDone) return media_failed(media, result, "list", "");
  }
  fields["files"] = nlohmann::json::array();
  for (const ListedFile& file : files) {
    out.note(detailed ? long_line(file) : file.name);
    fields["files"].push_back(list_entry(file));
  }
  if (out.json()) return out.done(media.command, "", fields);
  fmt::print(stderr, "{}\n", counts);
  return ExitCode::kDone;
}

}  // namespace

void add_media_list_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen) {
  CLI::App* list = media.add_subcommand(
      "list",
      "List photos and videos by name, one a line; how many there are goes to standard error.");
  list->require_subcommand(0, 1);
  list->fallthrough();
  list->add_flag("-l,--long", request->detailed,
                 "Size in bytes, date by the camera's clock and duration in front of each name");
  list->add_subcommand("photos", "Only the photos.");
  list->add_subcommand("videos", "Only the videos.");
  list->callback([list, request, chosen] {
    std::vector<MediaKind> kinds;
    if (!list->got_subcommand("videos")) kinds.push_back(MediaKind::kPhoto);
    if (!list->got_subcommand("photos")) kinds.push_back(MediaKind::kVideo);
    *chosen = media_action("media list", request->port, kListPatienceS,
                           [kinds, detailed = request->detailed](MediaSession& session) {
                             return list_media(session, kinds, detailed);
                           });
  });
}

}  // namespace groundstation
