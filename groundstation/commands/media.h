// What the commands of the media channel share.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "groundstation/commands/registry.h"
#include "groundstation/media/client.h"

namespace groundstation {

// The options of all of them.
struct MediaRequest {
  uint16_t port = kMediaPort;
  std::string name;
  std::vector<std::string> names;  // of get, patterns among them
  std::string output;
  bool force = false;
  bool quiet = false;
  bool all = false;
  bool keys = false;
  bool detailed = false;
  uint64_t from_byte = 0;
  double from_s = 0;
};

// One command's end of the channel.
struct MediaSession {
  Session& session;
  std::string command;  // as it is told
  MediaLink link;
  MediaClient client;
  bool listed = false;  // the camera has been asked for a list, and so knows every file

  MediaSession(Session& with, std::string name, uint64_t patience_us)
      : session(with), command(std::move(name)), link(with.link), client(link, patience_us) {}
};

// The list, sorted by name.
MediaResult media_names(MediaSession& media, MediaKind kind, std::vector<std::string>* names);

// The camera learns the names of new files when a list is asked for. So after kNotFound it is asked
// for one, once, and `step` is tried again.
MediaResult media_retry(MediaSession& media, MediaKind kind,
                        const std::function<MediaResult()>& step);
// The size of a file, so.
MediaResult media_size(MediaSession& media, MediaKind kind, const std::string& name,
                       MediaSize* size);

// Tells why a step did not work: `what` is the sentence of kRefused.
ExitCode media_failed(MediaSession& media, MediaResult result, std::string_view name,
                      std::string_view what);

// The kind that the camera takes the name for, else a usage error.
MediaKind known_media_kind(const std::string& name);
// "photo", "video"
[[nodiscard]] std::string_view media_kind_word(MediaKind kind);
// When the file was made, by the camera's clock, as its name tells: "2020-01-01 12:00:00"; empty for
// a name that tells nothing.
[[nodiscard]] std::string media_date(std::string_view name);

using MediaAction = std::function<ExitCode(MediaSession&)>;
// Opens the channel and runs the command on it.
[[nodiscard]] Action media_action(std::string command, uint16_t port, double patience_s,
                                  MediaAction action);

void add_media_list_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen);
void add_media_get_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                           Action* chosen);
void add_media_thumb_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                             Action* chosen);
void add_media_play_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen);

}  // namespace groundstation
