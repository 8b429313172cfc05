// Captured traffic as Wireshark decodes it with the dissector in docs/wireshark.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace support {

// One packet: its fields by name, as text; those that it has. A field that occurs more than once has
// its values with commas between.
using DecodedPacket = std::map<std::string, std::string>;

// The packets of the file that the display filter lets through. The test fails when tshark does.
std::vector<DecodedPacket> decode_capture(const std::string& file, const std::string& filter,
                                          const std::vector<std::string>& fields);

// "a,b" in parts; an empty text has none.
std::vector<std::string> split(const std::string& text, char separator);

}  // namespace support
