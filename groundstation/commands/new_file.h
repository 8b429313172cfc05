// The name of the file that a photo or a recording has made. The camera does not tell it, and knows
// it by name only once a list was asked for; so its list is asked for before and after.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "groundstation/commands/media.h"

namespace groundstation {

struct NewFileRequest {
  uint16_t port = kMediaPort;
  bool unnamed = false;  // do not ask
  bool get = false;      // fetch the file
  std::string folder;    // where to; empty: the current one
  bool force = false;
};

class NewFile {
 public:
  // `command`: as it is told; it outlives this.
  NewFile(Session& session, std::string_view command, const NewFileRequest& request,
          MediaKind kind);

  // The list before the file is made. Nothing; or the end of a command that was interrupted here. A
  // camera that does not answer costs the name and nothing else.
  [[nodiscard]] std::optional<ExitCode> look_before();

  // The end of the command, whose work is done: `text` and `fields` with the name of the new file,
  // and the file, if they can be had. Without a name it has worked all the same, unless the file is
  // wanted.
  ExitCode done(std::string text, nlohmann::json fields);

 private:
  MediaResult look(std::vector<std::string>* names);
  void look_after();
  [[nodiscard]] std::string why_unnamed() const;
  ExitCode fetch(const std::string& text, nlohmann::json fields);

  Session& session_;
  std::string command_;
  const NewFileRequest& request_;
  MediaKind kind_;
  MediaSession media_;
  std::string trouble_;  // of the channel's socket
  bool asked_ = false;   // the list before is known
  MediaResult result_ = MediaResult::kDone;
  std::vector<std::string> before_;
  std::vector<std::string> new_;  // sorted
};

void add_new_file_options(CLI::App* command, NewFileRequest* request);

}  // namespace groundstation
