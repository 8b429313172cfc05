// The control socket: a unix stream socket that takes fault scripts, one command a line, and
// answers each with any number of lines and then "ok" or "error: REASON". "help" lists the
// commands. Loop thread only.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "camera_service/listener.h"
#include "camera_service/service.h"
#include "camera_service/stream.h"

namespace camera_service {

struct ControlAnswer {
  std::string lines;  // each ends with a newline
  std::string error;  // empty: the command was carried out
};

// Carries out one control command. Empty lines and lines that begin with "#" do nothing.
ControlAnswer run_control_line(Service& service, std::string_view line);

// Carries out the lines of a file. False, with the line and the reason said, on the first that
// fails.
[[nodiscard]] bool run_control_file(Service& service, const std::string& path);

class Control {
 public:
  Control(Loop& loop, Service& service) : loop_(loop), service_(service), listener_(loop) {}
  ~Control();
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  // Listens on that path; a socket that an earlier run left there is replaced. False, with errno
  // set.
  [[nodiscard]] bool open(const std::string& path);

 private:
  struct Client {
    std::string input;
    std::unique_ptr<Stream> stream;
  };

  void add_client(base::Descriptor fd);
  void received(Client& client, std::string_view bytes);

  Loop& loop_;
  Service& service_;
  std::string path_;
  Listener listener_;
  std::list<Client> clients_;
};

}  // namespace camera_service
