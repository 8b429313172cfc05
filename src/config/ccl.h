// Text files of key/value lines: a whole file is read into a table that is ordered by key
// (strcmp), answered by key, and walked in key order.
//
//   # a comment up to the end of the line
//   ModelName = FALK2
//   Title = "kept as it is: # and = and blanks"
//
// With "#" as comment, "=" as separator and a double quote as string character. The value is the
// last token of its line ("k = a b" gives b), empty when there is none; a further separator makes
// the token before it a new key ("a=b=c" gives b the value c); the first of two equal keys wins; a
// last line without newline is dropped. Quotes know no escapes and end with the line. White space
// is isspace, carriage return included. A key or value ends at a NUL byte. Nothing in a file makes
// the parse fail: a bad line costs itself and a message on standard error, which starts with ": "
// and names the file and the line.
#pragma once

#include <cstdint>

#include "config/bst.h"

namespace config {

// Both strings are NUL-terminated, never null, and live as long as the table.
struct CclPair {
  const char* key;
  const char* value;
};

// Zero it and set the three characters before the first ccl_parse.
//
// It may be copied as a plain value: the copy shares the table and has a cursor of its own. One
// thread at a time per handle; several threads may look up and walk copies at once, since a parsed
// table does not change until it is released.
struct CclHandle {
  char comment_character;
  char separator_character;
  char string_character;
  BstTree* table;       // of CclPair; null before the first parse and after the release
  BstTraverser cursor;  // of the current walk
  int32_t walking;      // 0 until the first ccl_iterate after a parse
};

// Reads the file into a fresh table and begins a new walk. The table that the handle had is left to
// its other copies: release it before unless there are some. Returns
//    0  success, also for a file that cannot be read to its end (a folder gives an empty table)
//   22  handle or path null; nothing is changed
//   12  memory exhausted; the table holds the pairs up to there, or is null
//    2  the file cannot be opened, after ": Unable to open '%s'" on standard error; empty table
int ccl_parse(CclHandle* handle, const char* path);

// The value of that key; null when it is absent, an argument is null or there is no table. It
// belongs to the table.
[[nodiscard]] const char* ccl_get(const CclHandle* handle, const char* key);

// The next pair in key order, from the smallest on; null after the greatest, and then the smallest
// again. Null for a null handle or one without a table.
const CclPair* ccl_iterate(CclHandle* handle);

// Frees the table with all its pairs, also for every copy of the handle. A null handle or one
// without a table is left alone.
void ccl_release(CclHandle* handle);

}  // namespace config
