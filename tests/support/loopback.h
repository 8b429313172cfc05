// Sockets of a test's own. What fails here is a failure of the test.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <span>

#include "base/descriptor.h"
#include "base/socket.h"

namespace support {

// `host` in digits and dots.
inline sockaddr_in host_address(const char* host, uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  EXPECT_EQ(inet_pton(AF_INET, host, &result.sin_addr), 1) << host;
  return result;
}
inline sockaddr_in loopback_address(uint16_t port) { return host_address("127.0.0.1", port); }

// Two local sockets that are connected to each other.
inline void open_pair(base::Descriptor* near, base::Descriptor* far, int type = SOCK_STREAM) {
  int pair[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, pair), 0);
  near->reset(pair[0]);
  far->reset(pair[1]);
}

// Where a socket is bound.
inline sockaddr_in own_address(int fd) {
  sockaddr_in own{};
  socklen_t size = sizeof(own);
  EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size), 0);
  return own;
}

inline int socket_option(int fd, int level, int name) {
  int value = -1;
  socklen_t size = sizeof(value);
  EXPECT_EQ(getsockopt(fd, level, name, &value, &size), 0);
  return value;
}

// A socket of that type (SOCK_DGRAM, SOCK_STREAM) that is bound nowhere.
inline base::Descriptor open_socket(int type) {
  base::Descriptor fd(socket(AF_INET, type | SOCK_CLOEXEC, 0));
  EXPECT_TRUE(fd.open());
  return fd;
}

inline void bind_to(const base::Descriptor& fd, const sockaddr_in& address) {
  EXPECT_EQ(bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

// Holds a port on every address, so that nobody else gets it.
inline base::Descriptor take_port(int type, uint16_t port) {
  base::Descriptor fd = open_socket(type);
  EXPECT_TRUE(base::bind_any(fd.get(), port)) << port;
  if (type == SOCK_STREAM) {
    EXPECT_EQ(listen(fd.get(), 1), 0);
  }
  return fd;
}

// A loopback UDP socket on a port of its own choice; `address` gets where it listens.
inline base::Descriptor open_loopback(sockaddr_in* address) {
  base::Descriptor fd = open_socket(SOCK_DGRAM);
  bind_to(fd, loopback_address(0));
  *address = own_address(fd.get());
  return fd;
}

// The same, for who wants the port alone.
inline base::Descriptor open_loopback(uint16_t* port) {
  sockaddr_in address{};
  base::Descriptor fd = open_loopback(&address);
  *port = ntohs(address.sin_port);
  return fd;
}

// A loopback TCP server; port 0 is one of its own choice.
inline base::Descriptor listen_on_loopback(uint16_t port = 0) {
  base::Descriptor fd = open_socket(SOCK_STREAM);
  const int on = 1;
  setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  bind_to(fd, loopback_address(port));
  EXPECT_EQ(listen(fd.get(), 1), 0);
  return fd;
}

inline void connect_to(const base::Descriptor& fd, const sockaddr_in& address) {
  EXPECT_EQ(connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

// One datagram.
inline void send_to(const base::Descriptor& fd, std::span<const uint8_t> bytes,
                    const sockaddr_in& to) {
  EXPECT_EQ(sendto(fd.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                   sizeof(to)),
            static_cast<ssize_t>(bytes.size()));
}
// From a socket of its own to a port on loopback.
inline void send_to_port(std::span<const uint8_t> bytes, uint16_t port) {
  send_to(open_socket(SOCK_DGRAM), bytes, loopback_address(port));
}

}  // namespace support
