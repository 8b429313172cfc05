#include "camera_service/control.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "camera_service/say.h"

namespace camera_service {
namespace {

constexpr size_t kLongestLine = 65536;

}  // namespace

bool run_control_file(Service& service, const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    say("cannot read {}", path);
    return false;
  }
  std::string line;
  for (int number = 1; std::getline(file, line); number++) {
    const ControlAnswer answer = run_control_line(service, line);
    if (answer.error.empty()) continue;
    say("{}:{}: {}", path, number, answer.error);
    return false;
  }
  return true;
}

Control::~Control() {
  clients_.clear();
  if (listener_.is_open()) ::unlink(path_.c_str());
}

bool Control::open(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size());
  struct stat existing {};
  if (::lstat(path.c_str(), &existing) == 0 && S_ISSOCK(existing.st_mode)) ::unlink(path.c_str());
  base::Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd.open()) return false;
  if (::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return false;
  path_ = path;
  return listener_.open(std::move(fd), 8,
                        [this](base::Descriptor client) { add_client(std::move(client)); });
}

void Control::add_client(base::Descriptor fd) {
  const auto client = clients_.emplace(clients_.end());
  client->stream = std::make_unique<Stream>(
      loop_, std::move(fd), [this, client](std::string_view bytes) { received(*client, bytes); },
      [this, client] { clients_.erase(client); });
}

void Control::received(Client& client, std::string_view bytes) {
  client.input += bytes;
  for (size_t end = client.input.find('\n'); end != std::string::npos;
       end = client.input.find('\n')) {
    const std::string line = client.input.substr(0, end);
    client.input.erase(0, end + 1);
    say("control: {}", line);
    const ControlAnswer answer = run_control_line(service_, line);
    const std::string last = answer.error.empty() ? "ok\n" : "error: " + answer.error + "\n";
    client.stream->send(answer.lines + last);
  }
  if (client.input.size() > kLongestLine) client.input.clear();
}

}  // namespace camera_service
