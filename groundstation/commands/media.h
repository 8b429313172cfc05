// What the commands of the media channel share.
#pragma once

#include <memory>
#include <string>

#include "groundstation/commands/registry.h"
#include "groundstation/media/client.h"

namespace groundstation {

// The options of all of them.
struct MediaRequest {
  uint16_t port = kMediaPort;
  std::string name;
  std::string output;
  bool force = false;
  bool quiet = false;
  bool all = false;
  bool keys = false;
  uint64_t from_byte = 0;
  double from_s = 0;
};

// One command's end of the channel.
struct MediaSession {
  Session& session;
  std::string command;  // as it is told
  MediaLink link;
  MediaClient client;

  MediaSession(Session& with, std::string name, uint64_t patience_us)
      : session(with), command(std::move(name)), link(with.link), client(link, patience_us) {}
};

// Tells why a step did not work: `what` is the sentence of kRefused.
ExitCode media_failed(MediaSession& media, MediaResult result, std::string_view name,
                      std::string_view what);

// The kind that the camera takes the name for, else a usage error.
MediaKind known_media_kind(const std::string& name);

using MediaAction = std::function<ExitCode(MediaSession&)>;
// Opens the channel and runs the command on it.
[[nodiscard]] Action media_action(std::string command, uint16_t port, double patience_s,
                                  MediaAction action);

// get and thumb
void add_media_get_commands(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen);
void add_media_play_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                            Action* chosen);

}  // namespace groundstation
