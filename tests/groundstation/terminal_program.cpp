#include "groundstation/terminal_program.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "base/clock.h"

namespace groundstation_test {
namespace {

constexpr uint64_t kPatienceUs = 60'000'000;

}  // namespace

TerminalProgram::TerminalProgram(const std::string& arguments, const std::string& environment,
                                 unsigned short columns) {
  const std::string command =
      fmt::format("{} exec \"{}/groundstation\" {}", environment, BIN_DIR, arguments);
  winsize size{24, columns, 0, 0};
  int terminal = -1;
  pid_ = ::forkpty(&terminal, nullptr, nullptr, &size);
  if (pid_ == 0) {
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  terminal_.reset(terminal);
  EXPECT_GT(pid_, 0);
}

TerminalProgram::~TerminalProgram() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

void TerminalProgram::type(const std::string& keys) const {
  EXPECT_EQ(::write(terminal_.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

// Waits a little. False at the end of the output.
bool TerminalProgram::read_some() {
  pollfd input{terminal_.get(), POLLIN, 0};
  if (::poll(&input, 1, 100) <= 0) return true;
  std::array<char, 4096> bytes;
  // A terminal whose program has gone is an error to read.
  const ssize_t length = ::read(terminal_.get(), bytes.data(), bytes.size());
  if (length <= 0) return false;
  output_.append(bytes.data(), static_cast<size_t>(length));
  return true;
}

bool TerminalProgram::shows(const std::string& text) {
  const uint64_t give_up = base::monotonic_us() + kPatienceUs;
  while (true) {
    const size_t at = output_.find(text, seen_);
    if (at != std::string::npos) {
      seen_ = at + text.size();
      return true;
    }
    if (base::monotonic_us() > give_up || !read_some()) return false;
  }
}

int TerminalProgram::ends() {
  const uint64_t give_up = base::monotonic_us() + kPatienceUs;
  while (read_some()) {
    if (base::monotonic_us() > give_up) return -1;
  }
  int status = 0;
  if (::waitpid(pid_, &status, 0) != pid_) return -1;
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace groundstation_test
