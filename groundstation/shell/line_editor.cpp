#include "groundstation/shell/line_editor.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
// Needs <cstdio> before it.
#include <readline/history.h>
#include <readline/readline.h>

namespace groundstation {
namespace {

// readline calls back without a context; the one editor leaves it here.
struct Editing {
  LineEditor::Complete complete = nullptr;
  bool ended = false;
  std::optional<std::string> line;
};
Editing editing;

// The handler goes at once: otherwise readline would show the next prompt.
void line_done(char* text) {
  rl_callback_handler_remove();
  editing.ended = true;
  if (text == nullptr) {
    std::puts("");
    return;
  }
  editing.line = text;
  if (*text != '\0') add_history(text);
  std::free(text);
}

// Ctrl-D that was typed while the terminal read whole lines, as it does while a command runs, comes
// as a zero byte.
int early_end(int, int) {
  if (rl_end == 0) rl_stuff_char(CTRL('D'));
  return 0;
}

char* copy_of(const std::string& text) {
  return ::strdup(text.c_str());  // readline frees it
}

// The first entry stands in place of the word: what all share, or the word as it is.
char** complete_word(const char* word, int, int end) {
  const std::vector<std::string> words =
      editing.complete({rl_line_buffer, static_cast<size_t>(end)});
  // Where the shell knows nothing a file name may stand.
  if (words.empty()) return nullptr;
  auto** matches = static_cast<char**>(std::calloc(words.size() + 2, sizeof(char*)));
  if (matches == nullptr) return nullptr;
  size_t shared = words[0].size();
  for (const std::string& other : words) {
    size_t same = 0;
    while (same < shared && same < other.size() && other[same] == words[0][same]) same++;
    shared = same;
  }
  matches[0] = copy_of(shared >= std::strlen(word) ? words[0].substr(0, shared) : word);
  for (size_t i = 0; words.size() > 1 && i < words.size(); i++) matches[i + 1] = copy_of(words[i]);
  return matches;
}

}  // namespace

LineEditor::LineEditor(const char* prompt, Complete complete) {
  editing = {complete, false, std::nullopt};
  rl_catch_signals = 0;  // they are polled for
  rl_readline_name = "groundstation";
  static char breaks[] = " ";
  rl_completer_word_break_characters = breaks;
  rl_attempted_completion_function = complete_word;
  rl_callback_handler_install(prompt, line_done);
  rl_bind_key('\0', early_end);
}

LineEditor::~LineEditor() {
  if (!editing.ended) rl_callback_handler_remove();
}

void LineEditor::read() { rl_callback_read_char(); }

bool LineEditor::ended() const { return editing.ended; }

std::optional<std::string> LineEditor::line() const { return editing.line; }

void LineEditor::hide() {
  if (!editing.ended) rl_clear_visible_line();
}

void LineEditor::show() {
  if (editing.ended) return;
  rl_on_new_line();
  rl_redisplay();
}

}  // namespace groundstation
