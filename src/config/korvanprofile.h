// The device profile "/korvan.conf": key/value lines as in ccl.h, with "#" for comments, "=" behind
// a key and double quotes. Known keys: ModelName (printed at every load) and WifiChannel (removed
// by set_wifi_channel); all others are carried through to the phone application.
//
// Beside it, a reader of files that are divided into sections, and its trimming helpers.
#pragma once

#include <cstdint>
#include <memory>

#include "config/ccl.h"

namespace config {

struct ProfileTable;

// A reader's own copy of the profile: look up and walk `handle` with ccl_get and ccl_iterate; the
// first ccl_iterate gives the smallest key. The copy keeps its pairs alive, whatever is loaded or
// released meanwhile. Never parse or release its handle. One thread at a time per copy.
struct ProfileCopy {
  CclHandle handle;
  uint32_t pair_count;  // pairs that the walk will give
  std::shared_ptr<const ProfileTable> keeper;
};

// Any thread may call each of the following. A load takes effect at its end, at once and as a
// whole; of two at the same time the later one stays.

// Loads "/korvan.conf" and prints every pair, in key order, and ModelName twice ("(null)" when it
// is missing) on standard output. Always returns 0: without the file or memory the profile is
// empty, and the parser has told on standard error.
int CclInit();

// The value of that key; null when there is none. The text lives until the next CclInit,
// profile_release or set_wifi_channel: where another thread may call one of these, keep a
// profile_shared_copy() and look there.
[[nodiscard]] const char* profile_get(const char* key);

// Pairs found by the last load, also after the release.
[[nodiscard]] uint32_t profile_pair_count();

// A copy of what is loaded; without a loaded profile it is empty and walks over nothing.
[[nodiscard]] ProfileCopy profile_shared_copy();

// Lets go of the loaded pairs: for shutdown, or just before a load. Copies keep theirs. Always
// returns 0.
int profile_release();

// Removes every line with "WifiChannel" from "/korvan.conf" and loads it again, so that the profile
// lacks the key. The new channel is only echoed into a pipe that nobody reads: this is deliberate,
// whoever sets a channel for good adds the line itself. Blocks for two shell commands. Always
// returns 0.
int set_wifi_channel(int channel);

// Sections: looks for the first line "key = value" behind a line that starts with "[section]" and
// before the next line that starts with "[". Copies the value without the white space around it to
// `out`, or with it when there is nothing else; an empty value leaves `out` as it is. `out` has
// room for at least 100 bytes.
//
// A line is at most 99 bytes with its newline, more counts as the next line; white space before it
// is skipped, and lines that start with "#" are comments. A key ends at a blank, tab, "=", "|" or
// "^": the line "a|b=1" has the key a.
//
// Returns 0 when found. Otherwise -1 with `out` as it is: no such section or key, a section name of
// more than 29 characters, a null argument, or a file that cannot be opened (which is told on
// standard output). A key of 32 characters or more is never found. Any thread.
int profile_read_string(const char* path, const char* section, const char* key, char* out);

// Copy szInput to szOutput without the white space (isspace) before it, behind it, or both. Each
// returns szOutput, which has room for all of szInput and is another buffer. Null arguments and
// (also a_trim, through l_trim) one buffer for both abort as assertions of the source
// `korvanprofile`. Any thread.
char* l_trim(char* szOutput, const char* szInput);
char* r_trim(char* szOutput, const char* szInput);
char* a_trim(char* szOutput, const char* szInput);

}  // namespace config
