// The application's end of KRConnFd, with the session open. The record is at its start otherwise.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

#include "base/descriptor.h"
#include "flightlink/frame/mavlink_frame.h"
#include "flightlink/wire/link_context.h"
#include "support/hex.h"

namespace link_test {

// HEARTBEAT, version 3, of that system.
inline flightlink::MavlinkMessage heartbeat_from(uint8_t sysid) {
  flightlink::MavlinkMessage message{};
  message.payload[8] = 3;
  flightlink::mavlink_frame_seal(&message, sysid, 0, 9, 50);
  return message;
}

class AppSession {
 public:
  AppSession() {
    std::signal(SIGPIPE, SIG_IGN);
    flightlink::link_context_init();
    int pair[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    far_.reset(pair[0]);
    flightlink::mavlink_context.KRConnFd.store(pair[1]);
    flightlink::mavlink_context.link_state.store(1);
    flightlink::mavlink_context.send_enabled.store(1);
    flightlink::mavlink_context.session_flag.store(1);
  }
  ~AppSession() {
    const int own = flightlink::mavlink_context.KRConnFd.exchange(0);
    if (own != 0) close(own);
  }
  AppSession(const AppSession&) = delete;
  AppSession& operator=(const AppSession&) = delete;

  void hang_up() { far_.reset(); }
  void send_bytes(const Bytes& bytes) {
    EXPECT_EQ(send(far_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  // Everything that has arrived since the last call.
  Bytes received() {
    Bytes bytes(100000);
    const ssize_t size = recv(far_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return bytes;
  }

 private:
  base::Descriptor far_;
};

}  // namespace link_test
