#include "support/tshark.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/child_process.h"

namespace support {
namespace {

const std::string kScript =
    std::string("lua_script:") + SOURCE_DIR + "/docs/wireshark/camera_module.lua";

}  // namespace

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

std::vector<DecodedPacket> decode_capture(const std::string& file, const std::string& filter,
                                          const std::vector<std::string>& fields) {
  // Standard error, with tshark's remark that it runs as root, apart.
  std::vector<std::string> command{"sh",     "-c",          "exec tshark \"$@\" 2>/dev/null",
                                   "tshark", "-r",          file,
                                   "-X",     kScript,       "-Y",
                                   filter,   "-T",          "fields",
                                   "-E",     "separator=/t"};
  for (const std::string& field : fields) command.insert(command.end(), {"-e", field});
  const CommandResult run = run_command(command, seconds(200));
  EXPECT_EQ(run.status, 0) << run.output;
  std::vector<DecodedPacket> packets;
  for (const std::string& line : split(run.output, '\n')) {
    DecodedPacket& packet = packets.emplace_back();
    const std::vector<std::string> values = split(line, '\t');
    for (size_t i = 0; i < values.size() && i < fields.size(); i++) {
      if (!values[i].empty()) packet[fields[i]] = values[i];
    }
  }
  return packets;
}

}  // namespace support
