#include "board/board_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "base/descriptor.h"

namespace board_tests {
namespace {

namespace fs = std::filesystem;

class CopyFolder {
 public:
  CopyFolder() {
    // With a space, as the path of a repository may have one.
    char name[] = "/tmp/board test.XXXXXX";
    if (::mkdtemp(name) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
    fs::create_directory(path_ + "/bin");
    const std::string sandbox = path_ + "/board/sandbox/";
    fs::create_directories(sandbox);
    for (const char* part : {"board", "lib", "root"}) {
      fs::copy(fs::path(SOURCE_DIR "/board/sandbox") / part, sandbox + part,
               fs::copy_options::recursive);
    }
    fs::create_symlink("sandbox/board", path_ + "/board/board");
    open_to_all();
  }
  CopyFolder(const CopyFolder&) = delete;
  CopyFolder& operator=(const CopyFolder&) = delete;
  ~CopyFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::string& path() const { return path_; }

  // Whatever the umask and the modes of the originals were.
  void open_to_all() const {
    open_one(path_);
    for (const auto& entry : fs::recursive_directory_iterator(path_)) open_one(entry.path());
  }

 private:
  static void open_one(const fs::path& path) {
    const fs::perms own = fs::status(path).permissions();
    const bool runs = (own & fs::perms::owner_exec) != fs::perms::none;
    fs::permissions(path, runs ? static_cast<fs::perms>(0755) : static_cast<fs::perms>(0644));
  }

  std::string path_;
};

const CopyFolder& folder() {
  static const CopyFolder instance;
  return instance;
}

}  // namespace

const std::string& copy_folder() { return folder().path(); }

std::string shared_file(const std::string& path) {
  const fs::path to = fs::path(copy_folder()) / "bin" / fs::path(path).filename();
  fs::copy_file(path, to, fs::copy_options::overwrite_existing);
  folder().open_to_all();
  return to;
}

std::string start_folder(User user) {
  const bool elsewhere = user == User::kOrdinary && ::geteuid() == 0;
  return elsewhere ? copy_folder() : fs::current_path().string();
}

std::vector<std::string> board_command(User user, const std::vector<std::string>& arguments) {
  std::vector<std::string> command;
  if (user == User::kOrdinary && ::geteuid() == 0) {
    // The search path of root holds folders that are closed to others, and an ordinary one no sbin;
    // the folder of this run's reports is closed as well, and so is the current directory if the
    // repository lies in root's home.
    command = {"setpriv",
               "--reuid=65534",
               "--regid=65534",
               "--clear-groups",
               "env",
               "--unset=GTEST_OUTPUT",
               "--chdir=" + start_folder(user),
               "PATH=/usr/local/bin:/usr/bin:/bin",
               copy_folder() + "/board/board"};
  } else {
    command = {SOURCE_DIR "/board/board"};
  }
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

Running start(const std::vector<std::string>& command) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  base::Descriptor reading(ends[0]);
  const base::Descriptor writing(ends[1]);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, writing.get(), 1);
  posix_spawn_file_actions_adddup2(&actions, writing.get(), 2);
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  pid_t pid = 0;
  const int failure = ::posix_spawnp(&pid, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw std::system_error(failure, std::generic_category(), command[0]);
  return {pid, reading.release()};
}

std::string read_output(int fd, const std::string& stop) {
  std::string text;
  char piece[4096];
  while (stop.empty() || text.find(stop) == std::string::npos) {
    const ssize_t count = ::read(fd, piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    text.append(piece, static_cast<size_t>(count));
  }
  return text;
}

int wait_status(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

Outcome run_board(User user, const std::vector<std::string>& arguments) {
  const Running board = start(board_command(user, arguments));
  const base::Descriptor output(board.output);
  std::string text = read_output(output.get());
  return {wait_status(board.pid), std::move(text)};
}

Outcome run_script(User user, const std::string& script) {
  return run_board(user, {"exec", "--", "bash", "-c", script});
}

}  // namespace board_tests
