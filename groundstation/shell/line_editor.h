// One line from a terminal, with editing, history and completion, taken key by key so that the link
// stays alive meanwhile. GNU readline does the work; it has one terminal, so one editor at a time.
// Main thread only.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace groundstation {

class LineEditor {
 public:
  // The words that can stand in place of the last word of the line.
  using Complete = std::vector<std::string> (*)(std::string_view line);

  // Takes the terminal over and shows the prompt; the end of the object gives it back.
  LineEditor(const char* prompt, Complete complete);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Takes a key; standard input is readable.
  void read();
  // Whether the line is complete, or the input has ended.
  [[nodiscard]] bool ended() const;
  // The complete line. Nothing when the input ended instead, or before ended().
  [[nodiscard]] std::optional<std::string> line() const;

  // Around something else that is printed while a line is being typed.
  void hide();
  void show();
};

}  // namespace groundstation
