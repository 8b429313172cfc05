// Lines from a terminal, with editing, history and completion; the link stays alive while one is
// typed. libedit does the work. Main thread only; one at a time.
#pragma once

#include <histedit.h>

#include <cstdio>
#include <cwchar>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "groundstation/shell/history.h"

namespace groundstation {

class LineEditor {
 public:
  // The words that can stand in place of the last word of the line.
  using Complete = std::function<std::vector<std::string>(std::string_view line)>;
  // Waits until standard input is readable. False when a signal came instead.
  using WaitForKey = std::function<bool()>;
  enum class End { kLine, kEndOfInput, kInterrupted };

  LineEditor(const char* prompt, const std::string& history_path, Complete complete,
             WaitForKey wait_for_key);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Takes the terminal over until the line is complete or cannot be. A complete line is remembered.
  End read(std::string* line);

  // Around something else that is printed while a line is being typed.
  void hide();
  void show();

 private:
  static char* prompt_of(EditLine* edit);
  static int key_of(EditLine* edit, wchar_t* key);
  static unsigned char complete_of(EditLine* edit, int key);
  static LineEditor& self(EditLine* edit);

  int next_key(wchar_t* key);
  unsigned char complete();
  void replace(std::string_view word, const std::string& by);

  const char* prompt_;
  HistoryFile file_;
  Complete complete_;
  WaitForKey wait_for_key_;
  std::unique_ptr<History, void (*)(History*)> history_;
  std::unique_ptr<EditLine, void (*)(EditLine*)> edit_;
  std::mbstate_t state_{};
  bool reading_ = false;
  bool interrupted_ = false;
};

}  // namespace groundstation
