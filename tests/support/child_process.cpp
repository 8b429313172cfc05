#include "support/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>

namespace support {
namespace {

std::vector<std::string> child_environment(const Environment& extra) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; entry++) {
    const std::string_view text(*entry);
    const std::string_view name = text.substr(0, text.find('='));
    const bool replaced = std::any_of(extra.begin(), extra.end(),
                                      [&](const auto& pair) { return pair.first == name; });
    if (!replaced && name != "LD_LIBRARY_PATH" && name != "LD_PRELOAD" && name != "GTEST_OUTPUT") {
      result.emplace_back(text);
    }
  }
  for (const auto& [name, value] : extra) result.emplace_back(name).append("=").append(value);
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (auto& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

pid_t spawn(const std::vector<std::string>& command, const Environment& extra, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
  // The program starts with the signal settings that a service manager would give it.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  std::vector<std::string> words = command;
  std::vector<std::string> environment = child_environment(extra);
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, words[0].c_str(), &actions, &attributes,
                                 pointers(words).data(), pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    ADD_FAILURE() << "cannot start " << words[0] << ": " << std::strerror(error);
    return -1;
  }
  return pid;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const Environment& extra) {
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe: " << std::strerror(errno);
    return;
  }
  pipe_.reset(ends[0]);
  const base::Descriptor output(ends[1]);
  pid_ = spawn(command, extra, output.get());
  if (pid_ > 0) reader_ = std::thread([this] { read_output(); });
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && !status()) {
    signal(SIGKILL);
    int raw = 0;
    waitpid(pid_, &raw, 0);
  }
  stop_ = true;
  if (reader_.joinable()) reader_.join();
}

void ChildProcess::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

std::optional<int> ChildProcess::status() {
  int raw = 0;
  if (!status_ && pid_ > 0 && waitpid(pid_, &raw, WNOHANG) == pid_) status_ = raw;
  return status_;
}

std::optional<int> ChildProcess::wait_for_end(milliseconds limit) {
  poll_until([this] { return status().has_value(); }, limit);
  if (status_) {
    // What the program wrote last is on its way through the pipe.
    stop_ = true;
    if (reader_.joinable()) reader_.join();
  }
  return status_;
}

// Ends when the pipe does, or with the program once the pipe is empty: a grandchild that outlives
// the program may hold the other end for ever.
void ChildProcess::read_output() {
  std::array<char, 4096> buffer;
  while (true) {
    pollfd input{pipe_.get(), POLLIN, 0};
    const bool last = stop_;
    if (poll(&input, 1, 20) <= 0) {
      if (last) return;
      continue;
    }
    const ssize_t got = read(pipe_.get(), buffer.data(), buffer.size());
    if (got <= 0) return;
    const std::lock_guard lock(mutex_);
    output_.append(buffer.data(), static_cast<size_t>(got));
  }
}

std::string ChildProcess::output() const {
  const std::lock_guard lock(mutex_);
  return output_;
}

std::vector<std::string> ChildProcess::lines() const {
  const std::string all = output();
  std::vector<std::string> result;
  size_t begin = 0;
  for (size_t end = all.find('\n'); end != std::string::npos; end = all.find('\n', begin)) {
    result.push_back(all.substr(begin, end - begin));
    begin = end + 1;
  }
  return result;
}

size_t ChildProcess::count_lines(std::string_view text) const {
  const auto all = lines();
  return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

bool ChildProcess::wait_for_line(std::string_view text, milliseconds limit, size_t from) {
  return poll_until(
      [&] {
        const auto all = lines();
        for (size_t i = from; i < all.size(); i++) {
          if (all[i].find(text) != std::string::npos) return true;
        }
        return false;
      },
      limit);
}

CommandResult run_command(const std::vector<std::string>& command, milliseconds limit,
                          const Environment& extra) {
  ChildProcess child(command, extra);
  const auto status = child.wait_for_end(limit);
  const bool exited = status && WIFEXITED(*status);
  return {exited ? WEXITSTATUS(*status) : -1, child.output()};
}

}  // namespace support
