#include "groundstation/terminal/key_input.h"

#include <poll.h>
#include <unistd.h>

namespace groundstation {

KeyInput::KeyInput(bool wanted)
    : open_(wanted || ::isatty(STDIN_FILENO) == 1),
      terminal_(open_ && ::tcgetattr(STDIN_FILENO, &before_) == 0) {
  if (!terminal_) return;
  termios raw = before_;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

KeyInput::~KeyInput() {
  if (terminal_) ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
}

char KeyInput::read() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  if (!open_ || ::poll(&input, 1, 0) <= 0) return 0;
  char key = 0;
  if (::read(STDIN_FILENO, &key, 1) == 1) return key;
  open_ = false;
  return 0;
}

}  // namespace groundstation
