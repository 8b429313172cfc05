#include "camera_service/service_program.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "base/clock.h"
#include "support/loopback.h"
#include "support/patience.h"

namespace camera_service_test {
namespace {

constexpr int kStartTimeoutMs = 15'000;

}  // namespace

CommandResult run_command(const std::string& command) {
  std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "re");
  if (pipe == nullptr) throw std::runtime_error("popen");
  CommandResult result{-1, {}};
  std::array<char, 65536> buffer;
  for (size_t got = 1; got > 0;) {
    got = std::fread(buffer.data(), 1, buffer.size(), pipe);
    result.output.append(buffer.data(), got);
  }
  result.status = WEXITSTATUS(::pclose(pipe));
  return result;
}

ServiceProgram::ServiceProgram(const std::string& options, const std::string& wrapper) {
  std::string prefix = wrapper;
  for (size_t at = prefix.find("CARD"); at != std::string::npos; at = prefix.find("CARD"))
    prefix.replace(at, 4, card());
  std::string command = "exec \"" BIN_DIR "/camera_service\" --port 0 --card " + card() +
                        " --control " + control() + " " + options;
  if (!prefix.empty()) command = "exec " + prefix + " '" + command + "'";
  std::filesystem::create_directory(card());
  const std::string output = folder_.path("output");
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("fork");
  if (pid_ == 0) {
    const int fd = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(fd, STDOUT_FILENO);
    ::dup2(fd, STDERR_FILENO);
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  for (int waited = 0; waited < kStartTimeoutMs && port_ == 0; waited += 20) {
    base::sleep_ms(20);
    if (!alive()) break;
    if (const CommandResult answer = ctl("state"); answer.status == 0)
      port_ = json::parse(answer.output)["port"].get<uint16_t>();
  }
  if (port_ == 0) throw std::runtime_error("no service: " + run_command("cat " + output).output);
}

ServiceProgram::~ServiceProgram() {
  if (pid_ < 0) return;
  EXPECT_EQ(terminate(), 0) << run_command("cat " + (folder_.path("output"))).output;
}

CommandResult ServiceProgram::ctl(const std::string& line) const {
  constexpr int kUnreachable = 2;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  control().copy(address.sun_path, sizeof address.sun_path - 1);
  const base::Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    return {kUnreachable, {}};
  const std::string request = line + "\n";
  ::send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL);
  std::string answer;
  std::array<char, 65536> buffer;
  while (true) {
    const ssize_t got = ::recv(fd.get(), buffer.data(), buffer.size(), 0);
    if (got <= 0) return {kUnreachable, answer};
    answer.append(buffer.data(), static_cast<size_t>(got));
    if (answer.back() != '\n') continue;
    const size_t before = answer.rfind('\n', answer.size() - 2);
    const size_t last = before == std::string::npos ? 0 : before + 1;
    if (answer.substr(last) == "ok\n") return {0, answer.substr(0, last)};
    if (answer.compare(last, 7, "error: ") == 0) return {1, answer.substr(last)};
  }
}

json ServiceProgram::state() const { return json::parse(ctl("state").output); }

bool ServiceProgram::alive() const { return pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == 0; }

int ServiceProgram::terminate() {
  ::kill(pid_, SIGTERM);
  int status = -1;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

JsonClient::JsonClient(const ServiceProgram& program) : fd_(support::open_socket(SOCK_STREAM)) {
  const sockaddr_in address = support::loopback_address(program.port());
  if (::connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw std::runtime_error("connect");
}

void JsonClient::send(const std::string& text) const {
  if (::send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(text.size()))
    throw std::runtime_error("send");
}

std::string JsonClient::read_some(int timeout_ms) const {
  pollfd ready{fd_.get(), POLLIN, 0};
  if (::poll(&ready, 1, timeout_ms * support::kSlowdown) != 1) return {};
  std::array<char, 65536> buffer;
  const ssize_t got = ::recv(fd_.get(), buffer.data(), buffer.size(), 0);
  return got > 0 ? std::string(buffer.data(), static_cast<size_t>(got)) : std::string();
}

json JsonClient::receive(int timeout_ms) {
  size_t end = pending_.find('}');
  while (end == std::string::npos) {
    const std::string more = read_some(timeout_ms);
    if (more.empty()) return nullptr;
    pending_ += more;
    end = pending_.find('}');
  }
  const std::string text = pending_.substr(0, end + 1);
  pending_.erase(0, end + 1);
  return json::parse(text);
}

json JsonClient::command(int msg_id, const json& members) {
  json request = {{"msg_id", msg_id}, {"token", token_}};
  request.update(members);
  send(request.dump());
  return receive();
}

void JsonClient::set_resolution(const std::string& resolution) {
  EXPECT_EQ(command(260)["rval"], 0);
  EXPECT_EQ(command(2, {{"type", "video_resolution"}, {"param", resolution}})["rval"], 0);
  EXPECT_EQ(command(259, {{"param", "none_force"}})["rval"], 0);
}

void JsonClient::begin_session() { token_ = command(257)["param"].get<int>(); }

}  // namespace camera_service_test
