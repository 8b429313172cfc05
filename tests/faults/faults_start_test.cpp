// The start: every fifth call fails, and some end the process.
#include "faults/play_all.h"

int main(int count, char** words) {
  return faults_test::play_all(
      count, words,
      {{"start-up", "--every", "5",      "--no-kill", "--promises-once", "--kind", "open",
        "--kind",   "read",    "--kind", "socket",    "--kind",          "sendto", "--kind",
        "send",     "--kind",  "recv",   "--kind",    "thread",          "--kind", "shell"},
       {"start-up", "--every", "30", "--no-kill", "--promises-once", "--kind", "malloc"},
       {"start-up", "--every", "12", "--kill", "--promises-once", "--kind", "open", "--kind",
        "socket", "--kind", "thread", "--kind", "shell"}});
}
