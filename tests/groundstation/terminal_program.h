// The built groundstation program on a terminal of its own, driven as by a person: keys, and what
// the screen shows. One owner thread.
#pragma once

#include <sys/types.h>

#include <string>

#include "base/descriptor.h"

namespace groundstation_test {

class TerminalProgram {
 public:
  // `environment` stands in front of the program, as "A=b C=d".
  explicit TerminalProgram(const std::string& arguments, const std::string& environment = "",
                           unsigned short columns = 80);
  // Ends it if it still runs.
  ~TerminalProgram();
  TerminalProgram(const TerminalProgram&) = delete;
  TerminalProgram& operator=(const TerminalProgram&) = delete;

  void type(const std::string& keys) const;
  // Waits until the text has come behind what was waited for before. False: it did not come.
  bool shows(const std::string& text);
  // The exit status, once everything is shown; -1: it does not end.
  int ends();
  [[nodiscard]] const std::string& output() const { return output_; }

 private:
  bool read_some();

  pid_t pid_ = -1;
  base::Descriptor terminal_;
  std::string output_;
  size_t seen_ = 0;
};

}  // namespace groundstation_test
