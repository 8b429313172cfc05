#include "flightlink/actions/link_configuration.h"

#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "base/shell.h"
#include "base/text.h"
#include "flightlink/frame/messages.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

constexpr size_t kTextSize = 30;

struct ConfigurationFile {
  const char* path;
  uint8_t kind;
};

constexpr ConfigurationFile kFiles[] = {
    {"/tmp/SD0/destmac.conf", 2},
    {"/tmp/SD0/channel.conf", 0},
    {"/tmp/SD0/bw.conf", 1},
};

bool push_complete = false;  // peer thread only

int push_file(const ConfigurationFile& file) {
  if (access(file.path, F_OK) != 0) return 0;
  char command[100];
  base::format_text(command, "/bin/cat %s", file.path);
  char line[100];
  // "Empty" means that nothing was read; a blank line is a value.
  if (base::read_shell_line(command, line, sizeof(line)) != 1) return -1;
  size_t length = std::strlen(line);
  if (length > 0 && line[length - 1] == '\n') length--;
  if (length > kTextSize - 1) length = kTextSize - 1;

  MavlinkMessage message{};
  message.payload[1] = file.kind;
  std::memcpy(message.payload + 2, line, length);
  finalize(&message, kSystemPeer, kLinkConfiguration);
  peer_udp_send(&message);
  return 0;
}

}  // namespace

int link_configuration_push() {
  if (push_complete) return 0;
  for (const ConfigurationFile& file : kFiles) {
    if (push_file(file) != 0) return -1;
  }
  push_complete = true;
  return 0;
}

}  // namespace flightlink
