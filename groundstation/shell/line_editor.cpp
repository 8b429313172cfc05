#include "groundstation/shell/line_editor.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <utility>

namespace groundstation {
namespace {

constexpr char kEndOfInput = 'D' - '@';
constexpr char kInterrupt = 'C' - '@';
constexpr size_t kUsualColumns = 80;

size_t columns() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : kUsualColumns;
}

bool moves_its_cursor() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && std::string_view(terminal) != "dumb";
}

// Characters, not bytes: those that begin one in UTF-8.
size_t characters(std::string_view text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

size_t shared_beginning(const std::vector<std::string>& words) {
  size_t shared = words[0].size();
  for (const std::string& word : words) {
    const auto end =
        std::mismatch(words[0].begin(), words[0].begin() + static_cast<ptrdiff_t>(shared),
                      word.begin(), word.end());
    shared = static_cast<size_t>(end.first - words[0].begin());
  }
  return shared;
}

// In columns, as many as fit.
void list(const std::vector<std::string>& words) {
  size_t widest = 0;
  for (const std::string& word : words) widest = std::max(widest, word.size());
  const size_t in_a_row = std::max<size_t>(1, columns() / (widest + 2));
  for (size_t i = 0; i < words.size(); i++) {
    fmt::print("{}{:<{}}", i % in_a_row == 0 ? "\n" : "", words[i], widest + 2);
  }
  fmt::print("\n");
  std::fflush(stdout);
}

}  // namespace

LineEditor::LineEditor(const char* prompt, const std::string& history_path, Complete complete,
                       WaitForKey wait_for_key)
    : prompt_(prompt),
      file_(history_path),
      complete_(std::move(complete)),
      wait_for_key_(std::move(wait_for_key)),
      history_(::history_init(), ::history_end),
      edit_(nullptr, ::el_end) {
  std::setlocale(LC_CTYPE, "");
  edit_.reset(::el_init("groundstation", stdin, stdout, stderr));
  EditLine* edit = edit_.get();
  ::el_set(edit, EL_CLIENTDATA, this);
  ::el_set(edit, EL_PROMPT, prompt_of);
  ::el_set(edit, EL_GETCFN, key_of);
  ::el_set(edit, EL_EDITOR, "emacs");
  // Of a window that changes its size, and of a stop and what follows it. SIGINT and SIGTERM stay
  // blocked: the link polls for them.
  ::el_set(edit, EL_SIGNAL, 1);
  // Ctrl-C throws nothing away that has been typed or printed: its own line could be among it.
  ::el_set(edit, EL_SETTY, "-d", "+noflsh", nullptr);
  HistEvent event;
  ::history(history_.get(), &event, H_SETSIZE, static_cast<int>(HistoryFile::kMostLines));
  for (const std::string& line : file_.lines()) {
    ::history(history_.get(), &event, H_ENTER, line.c_str());
  }
  ::el_set(edit, EL_HIST, ::history, history_.get());
  // The narrow call would copy the two texts, for good.
  ::el_wset(edit, EL_ADDFN, L"offer", L"Complete the word", complete_of);
  ::el_set(edit, EL_BIND, "^I", "offer", nullptr);
  ::el_set(edit, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  ::el_source(edit, nullptr);  // the user's own bindings
}

LineEditor& LineEditor::self(EditLine* edit) {
  LineEditor* editor = nullptr;
  ::el_get(edit, EL_CLIENTDATA, &editor);
  return *editor;
}

char* LineEditor::prompt_of(EditLine* edit) { return const_cast<char*>(self(edit).prompt_); }

int LineEditor::key_of(EditLine* edit, wchar_t* key) { return self(edit).next_key(key); }

unsigned char LineEditor::complete_of(EditLine* edit, int /*key*/) { return self(edit).complete(); }

// One character, as the locale has it; what is none there is left out. 0 at the end, -1 when a
// signal ends the line.
int LineEditor::next_key(wchar_t* key) {
  while (true) {
    interrupted_ = !wait_for_key_();
    if (interrupted_) return -1;
    char byte = 0;
    const ssize_t length = ::read(STDIN_FILENO, &byte, 1);
    if (length < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (length <= 0) return 0;
    interrupted_ = byte == kInterrupt;
    if (interrupted_) return -1;
    // The end of the input that was typed while the terminal read whole lines, as it does while a
    // command runs, comes as a zero byte.
    const LineInfo* line = ::el_line(edit_.get());
    if (byte == 0 && line->lastchar == line->buffer) byte = kEndOfInput;
    const size_t used = std::mbrtowc(key, &byte, 1, &state_);
    if (used == static_cast<size_t>(-1)) state_ = {};
    if (used <= 1) return 1;
  }
}

LineEditor::End LineEditor::read(std::string* line) {
  interrupted_ = false;
  reading_ = true;
  int length = 0;
  // Before the prompt is there: what is typed at it belongs to the line.
  ::el_set(edit_.get(), EL_PREP_TERM, 1);
  const char* text = ::el_gets(edit_.get(), &length);
  reading_ = false;
  if (interrupted_) {
    fmt::print("^C\n");
    std::fflush(stdout);
    return End::kInterrupted;
  }
  if (text == nullptr || length <= 0) return End::kEndOfInput;
  line->assign(text);
  while (!line->empty() && (line->back() == '\n' || line->back() == '\r')) line->pop_back();
  if (!line->empty()) {
    HistEvent event;
    if (file_.lines().empty() || file_.lines().back() != *line) {
      ::history(history_.get(), &event, H_ENTER, line->c_str());
    }
    file_.add(*line);
  }
  return End::kLine;
}

void LineEditor::replace(std::string_view word, const std::string& by) {
  ::el_deletestr(edit_.get(), static_cast<int>(characters(word)));
  ::el_insertstr(edit_.get(), by.c_str());
}

unsigned char LineEditor::complete() {
  const LineInfo* info = ::el_line(edit_.get());
  const std::string line(info->buffer, info->cursor);
  const std::string word = line.substr(line.rfind(' ') + 1);
  const std::vector<std::string> words = complete_(line);
  if (words.empty()) return CC_REFRESH_BEEP;
  if (words.size() == 1) {
    // A folder goes on.
    replace(word, words[0] + (words[0].ends_with('/') ? "" : " "));
    return CC_REFRESH;
  }
  const size_t shared = shared_beginning(words);
  if (shared > word.size()) {
    replace(word, words[0].substr(0, shared));
    return CC_REFRESH;
  }
  list(words);
  return CC_REDISPLAY;
}

void LineEditor::hide() {
  if (!reading_) return;
  if (moves_its_cursor()) {
    const LineInfo* line = ::el_line(edit_.get());
    const size_t before =
        std::string_view(prompt_).size() +
        characters({line->buffer, static_cast<size_t>(line->cursor - line->buffer)});
    if (const size_t rows = before / columns(); rows > 0) fmt::print("\x1b[{}A", rows);
    fmt::print("\r\x1b[J");
  } else {
    fmt::print("\n");
  }
  std::fflush(stdout);
}

void LineEditor::show() {
  if (reading_) ::el_set(edit_.get(), EL_REFRESH);
}

}  // namespace groundstation
