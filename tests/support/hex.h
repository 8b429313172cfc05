// Byte strings written as they are read off a wire.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace link_test {

using Bytes = std::vector<uint8_t>;

// "fe 09 00" to three bytes; a text in two digits per byte, separated by blanks.
inline Bytes hex(const std::string& text) {
  Bytes bytes;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    bytes.push_back(static_cast<uint8_t>(std::strtoul(word.c_str(), nullptr, 16)));
  }
  return bytes;
}

// `count` zero bytes in the same notation, with a blank behind each.
inline std::string zeros(int count) {
  std::string text;
  for (int i = 0; i < count; i++) text += "00 ";
  return text;
}

}  // namespace link_test
