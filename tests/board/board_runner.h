// Runs board/board from outside, as one of the two kinds of user it serves.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace board_tests {

struct Outcome {
  int status;          // exit status, or 128 + signal as a shell counts it
  std::string output;  // standard output and standard error
};

enum class User { kCaller, kOrdinary };

// The command line that starts `board/board ARGUMENTS...` as that user. The ordinary user is the
// caller if the caller is one. If the caller is root, it is uid 65534 with a copy of board/ under
// copy_folder(), since the repository may be closed to others.
[[nodiscard]] std::vector<std::string> board_command(User user,
                                                     const std::vector<std::string>& arguments);

// The directory in which that command starts: the caller's current one, or copy_folder() for uid
// 65534.
[[nodiscard]] std::string start_folder(User user);

// A folder that every user can read, made on first use and removed when the process ends; holds
// "board/" and, under "bin/", whatever shared_file has copied.
[[nodiscard]] const std::string& copy_folder();

// Copies a file to where the ordinary user can read it and returns the path of the copy.
[[nodiscard]] std::string shared_file(const std::string& path);

// Starts the command line with output to one pipe. Returns its process id and the reading end,
// which the caller closes; throws std::system_error if it cannot be started.
struct Running {
  pid_t pid;
  int output;
};
[[nodiscard]] Running start(const std::vector<std::string>& command);

// Reads until the other end is closed, or until `stop` has been seen if it is not empty.
[[nodiscard]] std::string read_output(int fd, const std::string& stop = "");

// Waits for the process and returns its status as Outcome does.
int wait_status(pid_t pid);

// Starts, reads everything and waits.
[[nodiscard]] Outcome run_board(User user, const std::vector<std::string>& arguments);

// The same for `board/board exec -- bash -c SCRIPT`.
[[nodiscard]] Outcome run_script(User user, const std::string& script);

}  // namespace board_tests
