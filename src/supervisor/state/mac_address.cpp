#include "supervisor/state/mac_address.h"

#include <cstdio>

#include "base/renew.h"
#include "base/shell.h"

namespace supervisor {

std::array<std::atomic<uint8_t>, 6> camera_mac{};

uint8_t a2x(char digit) {
  if (digit >= 'A' && digit <= 'F') return static_cast<uint8_t>(digit - 55);
  if (digit >= 'a' && digit <= 'f') return static_cast<uint8_t>(digit - 87);
  if (digit >= '0' && digit <= '9') return static_cast<uint8_t>(digit - '0');
  std::printf("%s(line=%d):error mac addr!\n", "a2x", 796);
  return 0;
}

void obtain_macaddr() {
  // Zero behind a short line, or none: every position read below is inside the buffer.
  char line[100] = {};
  const int read = base::read_shell_line(
      "/sbin/ifconfig usb0 | /bin/grep HWaddr | /usr/bin/awk '{print $5}'", line, sizeof(line));
  if (read < 0) {
    std::printf("%s(line=%d):popen error!\n", "obtain_macaddr", 810);
    return;
  }
  std::printf("%s(line=%d):buffer=%s\n", "obtain_macaddr", 815, line);
  for (size_t i = 0; i < camera_mac.size(); i++) {
    const int high = a2x(line[3 * i]) & 0x0F;
    const int byte = high * 16 + a2x(line[3 * i + 1]);
    camera_mac[i].store(static_cast<uint8_t>(byte), std::memory_order_relaxed);
  }
  for (size_t i = 0; i < camera_mac.size(); i++) {
    std::printf("%s(line=%d):macaddr[%d]=0x%x\n", "obtain_macaddr", 820, static_cast<int>(i),
                camera_mac[i].load(std::memory_order_relaxed));
  }
}

void camera_mac_reset() { base::renew(camera_mac); }

}  // namespace supervisor
