#include "groundstation/live/player.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
#include <string_view>

#include "base/clock.h"

namespace groundstation {
namespace {

// ffplay: no buffer and no probing at the begin, and pictures are shown as they come, since the
// stream carries no times (without a time each one is late against the player's own clock). mpv
// has a profile and a switch for the same.
constexpr const char* kPlayers[] = {
    "ffplay -hide_banner -loglevel error -nostats -autoexit -an -f h264 -fflags nobuffer "
    "-flags low_delay -probesize 32 -analyzeduration 0 -sync ext -noframedrop -vf setpts=0 "
    "-window_title live -i pipe:0",
    "mpv --no-config --msg-level=all=error --no-input-terminal --no-audio --profile=low-latency "
    "--untimed --no-cache --demuxer-lavf-format=h264 --title=live -"};
constexpr int kPipeSize = 1 << 20;  // half a second of the fastest stream
constexpr uint64_t kOwnEndUs = 2'000'000;
constexpr uint64_t kAskedEndUs = 1'000'000;
constexpr uint64_t kLookAgainUs = 20'000;

bool is_installed(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string_view rest = path == nullptr ? "" : path;
  while (!rest.empty()) {
    const size_t end = rest.find(':');
    const std::string file = fmt::format("{}/{}", rest.substr(0, end), program);
    if (::access(file.c_str(), X_OK) == 0) return true;
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return false;
}

// In a process group of its own: Ctrl-C is ours, and the player ends when its video does.
int spawn(const std::vector<std::string>& words, int input, pid_t* child) {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawnattr_init(&attributes);
  // What is blocked or ignored here is not so there.
  sigset_t none;
  sigset_t ordinary;
  sigemptyset(&none);
  sigemptyset(&ordinary);
  sigaddset(&ordinary, SIGPIPE);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &ordinary);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const int error =
      ::posix_spawnp(child, arguments[0], &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return error;
}

}  // namespace

std::vector<std::vector<std::string>> player_commands() {
  std::vector<std::vector<std::string>> commands;
  for (const char* line : kPlayers) {
    std::istringstream words(line);
    commands.emplace_back(std::istream_iterator<std::string>(words),
                          std::istream_iterator<std::string>());
  }
  return commands;
}

std::string LivePlayer::start() {
  for (const std::vector<std::string>& words : player_commands()) {
    if (!is_installed(words[0])) continue;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return fmt::format("no pipe: {}", std::strerror(errno));
    const base::Descriptor reading(ends[0]);
    base::Descriptor writing(ends[1]);
    if (const int error = spawn(words, reading.get(), &child_); error != 0) {
      return fmt::format("cannot start {}: {}", words[0], std::strerror(error));
    }
    // More room than usual, where that is allowed; a full pipe is noticed and does not block.
    ::fcntl(writing.get(), F_SETPIPE_SZ, kPipeSize);
    ::fcntl(writing.get(), F_SETFL, O_NONBLOCK);
    name_ = words[0];
    input_ = std::move(writing);
    return "";
  }
  return "neither ffplay nor mpv is installed here: install one of them (on Debian the package "
         "ffmpeg or mpv), or write the video to a file with -o";
}

// Writes what waits. False when the player has gone.
bool LivePlayer::flush() {
  size_t done = 0;
  while (done < waiting_.size()) {
    const ssize_t part = ::write(input_.get(), waiting_.data() + done, waiting_.size() - done);
    if (part < 0 && errno == EINTR) continue;
    if (part < 0 && errno != EAGAIN) return false;
    if (part <= 0) break;
    done += static_cast<size_t>(part);
  }
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<ptrdiff_t>(done));
  return true;
}

bool LivePlayer::show(std::span<const uint8_t> bytes, bool key) {
  if (!flush()) return false;
  needs_key_ = !waiting_.empty() || (needs_key_ && !key);
  if (needs_key_) {
    skipped_++;
    return true;
  }
  waiting_.assign(bytes.begin(), bytes.end());
  return flush();
}

bool LivePlayer::ended_within(uint64_t us) {
  const uint64_t give_up = base::monotonic_us() + us;
  while (true) {
    const pid_t ended = ::waitpid(child_, &status_, WNOHANG);
    if (ended == child_ || (ended < 0 && errno != EINTR)) return true;
    if (base::monotonic_us() >= give_up) return false;
    base::sleep_us(kLookAgainUs);
  }
}

int LivePlayer::finish() {
  input_.reset();
  if (child_ == 0) return 0;
  if (!ended_within(kOwnEndUs)) {
    ::kill(child_, SIGTERM);
    if (!ended_within(kAskedEndUs)) {
      ::kill(child_, SIGKILL);
      ::waitpid(child_, &status_, 0);
    }
    status_ = 0;  // it was told to
  }
  child_ = 0;
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

LivePlayer::~LivePlayer() { finish(); }

}  // namespace groundstation
