// The photo road: every fifth call fails, and every sixth that has to do with files ends the
// process. tools/faults plays all of them, and this program with its words.
#include "faults/play_all.h"

int main(int count, char** words) {
  return faults_test::play_all(
      count, words,
      {{"photo",  "--every", "3",      "--no-kill", "--promises-once", "--kind", "open",
        "--kind", "read",    "--kind", "write",     "--kind",          "flush",  "--kind",
        "rename", "--kind",  "unlink", "--kind",    "sendto",          "--kind", "send",
        "--kind", "recv"},
       {"photo", "--every", "60", "--no-kill", "--promises-once", "--kind", "malloc"},
       {"photo", "--every", "6", "--kill", "--promises-once", "--kind", "open", "--kind", "write",
        "--kind", "flush", "--kind", "rename", "--kind", "unlink"}});
}
