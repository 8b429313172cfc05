// A program that runs beside the test; its output is kept line by line.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "support/patience.h"

namespace support {

using Environment = std::vector<std::pair<std::string, std::string>>;

// The environment of the test without LD_LIBRARY_PATH and LD_PRELOAD, plus the given variables.
// Standard input is empty; standard output and standard error are one stream. One owner thread.
class ChildProcess {
 public:
  // Starts command[0], looked up in PATH. A program that cannot be started is a failure of the test
  // and leaves pid() at -1.
  explicit ChildProcess(const std::vector<std::string>& command, const Environment& extra = {});
  // Kills the program if it still runs, and waits for it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  [[nodiscard]] pid_t pid() const { return pid_; }
  void signal(int number) const;

  // The wait status once the program has ended, nothing while it runs.
  std::optional<int> status();
  // Waits for the end.
  std::optional<int> wait_for_end(milliseconds limit);

  // The complete lines so far, without their newlines.
  [[nodiscard]] std::vector<std::string> lines() const;
  // Everything so far.
  [[nodiscard]] std::string output() const;
  // How many lines hold the text.
  [[nodiscard]] size_t count_lines(std::string_view text) const;
  // Waits for a line that holds the text, among those from number `from` on.
  bool wait_for_line(std::string_view text, milliseconds limit, size_t from = 0);

 private:
  void read_output();

  pid_t pid_ = -1;
  std::optional<int> status_;
  base::Descriptor pipe_;
  std::atomic<bool> stop_ = false;
  mutable std::mutex mutex_;  // guards output_
  std::string output_;
  std::thread reader_;
};

struct CommandResult {
  int status;  // exit status; -1 when it was killed, did not start or ran out of time
  std::string output;
};

// Runs a program to its end.
CommandResult run_command(const std::vector<std::string>& command, milliseconds limit = seconds(60),
                          const Environment& extra = {});

}  // namespace support
