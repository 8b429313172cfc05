// The lines that were typed, kept in a file of the user from session to session. What goes wrong
// with the file is no failure: the lines of this session are there.
#pragma once

#include <deque>
#include <string>

namespace groundstation {

// $XDG_STATE_HOME/groundstation/history, below ~/.local/state if that is not set; empty without a
// home.
[[nodiscard]] std::string history_path();

class HistoryFile {
 public:
  // Reads what is there: one line each, the newest last, kMostLines at most.
  explicit HistoryFile(std::string path);

  [[nodiscard]] const std::deque<std::string>& lines() const { return lines_; }
  // Adds a line, unless it is empty or the newest one. Several sessions may add to the file.
  void add(const std::string& line);

  static constexpr size_t kMostLines = 1000;

 private:
  void rewrite() const;

  std::string path_;
  std::deque<std::string> lines_;
};

}  // namespace groundstation
