// The start: every third call fails, and some end the process.
#include "faults/play_all.h"

int main(int count, char** words) {
  return faults_test::play_all(
      count, words,
      {{"start-up", "--every", "3",      "--no-kill", "--promises-once", "--kind", "open",
        "--kind",   "read",    "--kind", "socket",    "--kind",          "sendto", "--kind",
        "send",     "--kind",  "recv",   "--kind",    "thread",          "--kind", "shell"},
       {"start-up", "--every", "20", "--no-kill", "--promises-once", "--kind", "malloc"},
       {"start-up", "--every", "8", "--kill", "--promises-once"}});
}
