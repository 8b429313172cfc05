#include "flightlink/links/mac_bind.h"

#include <arpa/inet.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>

#include "base/descriptor.h"
#include "base/shell.h"
#include "base/text.h"

namespace flightlink {
namespace {

constexpr const char* kTable = "/tmp/macset.txt";
constexpr const char* kSeparator = ";";
constexpr int kMostEntries = 4;
constexpr size_t kLineSize = 400;
constexpr size_t kCommandSize = 600;

// What the phone may be called in a shell command. Nothing else comes from the ARP table; the table
// file, however, lies where every program of the board can write.
bool is_mac_text(const char* text) {
  return std::strspn(text, "0123456789abcdefABCDEF:") == std::strlen(text);
}

// Every entry of the table, in its order, until `take` returns false.
template <typename Take>
void for_each_entry(const Take& take) {
  char command[200];
  base::format_text(command, "awk 'BEGIN{FS=\"%s\"}{for(x=1;x<=NF;x++){print $x}}' %s", kSeparator,
                    kTable);
  base::read_shell_lines(command, std::cref(take));  // by itself it would be copied to the heap
}

void open_input() {
  base::run_shell("iptables --flush");
  base::run_shell("iptables -P INPUT ACCEPT");
}

struct Mac {
  uint8_t bytes[6];
};

// Asks the kernel through any socket. Reports its own failure.
bool look_up(int socket, const sockaddr_in& who, Mac* mac) {
  arpreq request{};
  sockaddr_in address{};
  address.sin_family = who.sin_family;
  address.sin_addr = who.sin_addr;
  std::memcpy(&request.arp_pa, &address, sizeof(address));
  std::strncpy(request.arp_dev, "wlan0", sizeof(request.arp_dev) - 1);
  if (ioctl(socket, SIOCGARP, &request) != 0) {
    std::perror("ioctl SIOCGARP");
    return false;
  }
  std::memcpy(mac->bytes, request.arp_ha.sa_data, sizeof(mac->bytes));
  return true;
}

enum class Table { kFree, kHasIt, kFull };

// Looks for the address in the table; another one in it is forgotten, with its filter.
Table make_room(const char* mac) {
  int lines = 0;
  bool found = false;
  for_each_entry([&](const char* entry) {
    lines++;
    if (strncasecmp(entry, mac, std::strlen(mac)) == 0) {
      std::printf("%s(line=%d) mac exist already:%s\n", "save_macaddr", 251, entry);
      found = true;
      return false;
    }
    if (entry[0] == '\0') return true;
    clear_mac_table();
    return false;
  });
  if (found) return Table::kHasIt;
  return lines > kMostEntries ? Table::kFull : Table::kFree;
}

}  // namespace

int save_macaddr(const char* mac) {
  if (!is_mac_text(mac)) return -1;
  const Table table = make_room(mac);
  if (table == Table::kHasIt) return 0;
  if (table == Table::kFull) {
    // Only empty entries can be that many. Neither a newline nor a failure, as it has always been.
    std::printf("%s(line=%d) MAX binding mac exist", "save_macaddr", 264);
    return 0;
  }
  char line[kLineSize];
  base::format_text(line, "%s", mac);
  std::printf("%s(line=%d):%s\n", "save_macaddr", 281, line);
  const std::unique_ptr<char[]> command(new (std::nothrow) char[kCommandSize]);
  if (command == nullptr) {
    std::printf("%s(line=%d) get memory failed!", "save_macaddr", 285);
    return -1;
  }
  std::snprintf(command.get(), kCommandSize, "echo \"%s\" > %s", line, kTable);
  base::run_shell(command.get());
  std::printf("%s(line=%d) save mac:%s\n", "save_macaddr", 291, command.get());
  return 0;
}

int set_mac_bind(int socket) {
  if (socket == 0) return -1;
  sockaddr_in peer{};
  socklen_t size = sizeof(peer);
  if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0) {
    std::perror("getpeername:");
    return -1;
  }
  Mac mac{};
  if (!look_up(socket, peer, &mac)) return -1;
  const uint8_t* b = mac.bytes;
  char text[18];
  base::format_text(text, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5]);
  std::printf("%s(line=%d):peer macaddr:%s\n", "set_mac_bind", 358, text);
  return save_macaddr(text) == 0 ? 0 : -1;
}

void bind_macaddr_from_table() {
  base::run_shell("iptables --flush");
  for_each_entry([](const char* entry) {
    if (!is_mac_text(entry)) return true;
    char command[200];
    base::format_text(command, "iptables -A INPUT -m mac --mac-source %s -j ACCEPT", entry);
    std::printf("%s(line=%d):%s\n", "bind_macaddr_from_table", 216, command);
    base::run_shell(command);
    return true;
  });
  base::run_shell("iptables -I INPUT -s 127.0.0.1 -j ACCEPT");
  base::run_shell("iptables -I OUTPUT -s 127.0.0.1 -j ACCEPT");
  base::run_shell("iptables -P INPUT DROP");
}

void clear_mac_bind() {
  std::printf("%s(line=%d):clear mac bind!\n", "clear_mac_bind", 411);
  open_input();
}

void clear_mac_table() {
  char command[100];
  base::format_text(command, "rm %s", kTable);
  base::run_shell(command);
  open_input();
}

int set_mac_bind_ip(const char* address) {
  std::printf("%s(line=%d):ipaddr = %s\n", "set_mac_bind_ip", 375, address);
  const base::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket.open()) {
    std::perror("socket:");
    return -1;
  }
  sockaddr_in who{};
  who.sin_family = AF_INET;
  const int parsed = inet_pton(AF_INET, address, &who.sin_addr);
  if (parsed != 1) {
    if (parsed == 0) errno = EINVAL;  // a text that is no address sets nothing
    std::perror("inet_pton:");
    return -1;
  }
  Mac mac{};
  if (!look_up(socket.get(), who, &mac)) return -1;
  const uint8_t* b = mac.bytes;
  std::printf("%s(line=%d):peer macaddr:%02x%02x%02x%02x%02x%02x\n", "set_mac_bind_ip", 405, b[0],
              b[1], b[2], b[3], b[4], b[5]);
  return 0;
}

}  // namespace flightlink
