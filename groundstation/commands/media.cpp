// media: what is on the camera's card - size, delete; and ending what runs.
#include "groundstation/commands/media.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/bytes.h"
#include "groundstation/link/endpoint.h"

namespace groundstation {
namespace {

constexpr double kMediaPatienceS = 10;

constexpr const char* kMediaMore = R"(
The media channel is UDP port 8857 of the camera, apart from its other link: these commands run
beside another ground station that holds the link and receives live video. One client at a time: the
camera answers whoever asked last, and a new request ends a transfer that runs.

Any datagram may be lost. Requests are repeated; what a download lacks is fetched again until every
byte is certain. A file gets its name when it is complete, and one that is there is kept unless
--force is given. Whenever a list is asked for the camera deletes videos of 1 MiB or less.

Examples:
  groundstation media list --long
  groundstation media get --all -o card/
  groundstation media get '*PW*' 20200101_120000AB.MP4 -o card/
  groundstation media get 20200101_120000AB.MP4 -o flight.mp4
  groundstation media thumb 20200101_120000AB.MP4 -o flight.jpg
  groundstation media play 20200101_120000AB.MP4 --from 12.5 -o part.h264
)";

ExitCode media_info(MediaSession& media, const std::string& name) {
  const MediaKind kind = known_media_kind(name);
  MediaSize size;
  const MediaResult result = media_size(media, kind, name, &size);
  if (result != MediaResult::kDone) return media_failed(media, result, name, "");
  const std::string_view what = media_kind_word(kind);
  std::string text = fmt::format("{}: {}, {} bytes", name, what, size.bytes);
  nlohmann::json fields{{"name", name}, {"kind", what}, {"bytes", size.bytes}};
  if (size.seconds.has_value()) {
    text += fmt::format(", {} s", *size.seconds);
    fields["seconds"] = *size.seconds;
  }
  if (const std::string date = media_date(name); !date.empty()) {
    text += fmt::format(", {}", date);
    fields["date"] = date;
  }
  return media.session.out.done(media.command, text, fields);
}

ExitCode media_remove(MediaSession& media, const std::string& name) {
  const MediaKind kind = known_media_kind(name);
  const MediaResult result =
      media_retry(media, kind, [&] { return media.client.remove(kind, name); });
  if (result != MediaResult::kDone) {
    return media_failed(media, result, name,
                        fmt::format("the camera does not delete {}; is the card full or write "
                                    "protected?",
                                    name));
  }
  return media.session.out.done(media.command, fmt::format("{} is deleted", name),
                                {{"name", name}});
}

ExitCode media_cancel(MediaSession& media) {
  std::string cancelled;
  const MediaResult result = media.client.cancel(&cancelled);
  if (result != MediaResult::kDone) return media_failed(media, result, "", "");
  return media.session.out.done(media.command,
                                cancelled.empty()
                                    ? "no download ran (a playback ends without a word)"
                                    : fmt::format("the download of {} is cancelled", cancelled),
                                {{"cancelled", cancelled}});
}

}  // namespace

MediaResult media_names(MediaSession& media, MediaKind kind, std::vector<std::string>* names) {
  const MediaResult result = media.client.list(kind, names);
  media.listed |= result == MediaResult::kDone;
  std::sort(names->begin(), names->end());
  return result;
}

MediaResult media_retry(MediaSession& media, MediaKind kind,
                        const std::function<MediaResult()>& step) {
  MediaResult result = step();
  if (result != MediaResult::kNotFound || media.listed) return result;
  std::vector<std::string> names;
  result = media_names(media, kind, &names);
  return result == MediaResult::kDone ? step() : result;
}

MediaResult media_size(MediaSession& media, MediaKind kind, const std::string& name,
                       MediaSize* size) {
  return media_retry(media, kind, [&] { return media.client.size(kind, name, size); });
}

ExitCode media_failed(MediaSession& media, MediaResult result, std::string_view name,
                      std::string_view what) {
  const Output& out = media.session.out;
  const nlohmann::json fields{{"name", name}};
  switch (result) {
    case MediaResult::kNotFound:
      return out.fail(media.command, ExitCode::kRefused,
                      fmt::format("the camera has no file {} (media list shows what it has)", name),
                      fields);
    case MediaResult::kInterrupted:
      return out.fail(media.command, ExitCode::kInterrupted, "interrupted", fields);
    case MediaResult::kNoAnswer:
      return out.fail(media.command, ExitCode::kNoCamera,
                      fmt::format("no answer on the media channel of {}. Check that this machine "
                                  "is in the camera's network, that no photo is being taken, and "
                                  "that no transfer was switched off by the stream switch.",
                                  endpoint_text(media.link.endpoint())),
                      fields);
    default:
      return out.fail(media.command, ExitCode::kRefused, what, fields);
  }
}

MediaKind known_media_kind(const std::string& name) {
  const std::optional<MediaKind> kind = media_kind_of(name);
  if (!kind.has_value() || name.size() > kMediaRequestName) {
    throw CLI::ValidationError(
        "NAME", fmt::format("{} is no name of a photo (JPG) or a video (MP4)", name));
  }
  return *kind;
}

std::string_view media_kind_word(MediaKind kind) {
  return kind == MediaKind::kVideo ? "video" : "photo";
}

std::string media_date(std::string_view name) {
  constexpr std::string_view kShape = "dddddddd_dddddd";
  if (name.size() < kShape.size()) return "";
  for (size_t i = 0; i < kShape.size(); i++) {
    const bool digit = name[i] >= '0' && name[i] <= '9';
    if (kShape[i] == 'd' ? !digit : name[i] != kShape[i]) return "";
  }
  return fmt::format("{}-{}-{} {}:{}:{}", name.substr(0, 4), name.substr(4, 2), name.substr(6, 2),
                     name.substr(9, 2), name.substr(11, 2), name.substr(13, 2));
}

Action media_action(std::string command, uint16_t port, double patience_s, MediaAction action) {
  return [port, patience_s, command = std::move(command),
          action = std::move(action)](Session& session) {
    const double seconds = session.timeout_s > 0 ? session.timeout_s : patience_s;
    MediaSession media(session, command, base::saturate<uint64_t>(seconds * 1e6));
    if (const std::string trouble = media.link.open(port); !trouble.empty()) {
      return session.out.fail(command, ExitCode::kNoCamera, trouble);
    }
    return action(media);
  };
}

void add_media_commands(CLI::App& app, Action* chosen) {
  auto request = std::make_shared<MediaRequest>();
  CLI::App* media =
      app.add_subcommand("media", "List, fetch, play and delete what is on the card.");
  media->require_subcommand(1);
  add_port(media, "--port", &request->port, "UDP port of the camera's media channel");
  add_media_list_command(*media, request, chosen);

  // The commands that take just a name.
  struct Named {
    const char* word;
    const char* about;
    ExitCode (*run)(MediaSession&, const std::string&);
  };
  for (const Named& named :
       {Named{"info", "Size of a file, its date and the duration of a video.", media_info},
        Named{"rm", "Delete a photo or video, and its thumbnail.", media_remove}}) {
    CLI::App* command = media->add_subcommand(named.word, named.about);
    command->add_option("NAME", request->name, "File on the card")->required();
    command->callback([request, chosen, named] {
      known_media_kind(request->name);
      *chosen = media_action(
          fmt::format("media {}", named.word), request->port, kMediaPatienceS,
          [request, named](MediaSession& session) { return named.run(session, request->name); });
    });
  }
  add_media_get_command(*media, request, chosen);
  add_media_thumb_command(*media, request, chosen);
  add_media_play_command(*media, request, chosen);
  media->add_subcommand("cancel", "End the download or the playback that runs.")
      ->callback([request, chosen] {
        *chosen = media_action("media cancel", request->port, kMediaPatienceS, media_cancel);
      });
  media->footer(kMediaMore);  // last: commands that are added later would take it over
}

}  // namespace groundstation
