// Single keys from standard input, without echo while it is a terminal. Main thread only.
#pragma once

#include <termios.h>

namespace groundstation {

class KeyInput {
 public:
  // `wanted`: also when standard input is no terminal.
  explicit KeyInput(bool wanted);
  // The terminal is as it was.
  ~KeyInput();
  KeyInput(const KeyInput&) = delete;
  KeyInput& operator=(const KeyInput&) = delete;

  // The next key that has been pressed; 0: none.
  char read();

 private:
  bool open_;
  termios before_{};
  bool terminal_;
};

}  // namespace groundstation
