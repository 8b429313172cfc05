// A record as at program start. Every record of this program is a struct whose members have their
// first values in its declaration, or zero.
#pragma once

#include <memory>

namespace base {

// Destroys the record and makes it anew in its place, so that no member can be forgotten. Nobody
// may use it meanwhile: before any thread runs, and in tests.
template <typename Record>
void renew(Record& record) {
  std::destroy_at(&record);
  std::construct_at(&record);
}

}  // namespace base
