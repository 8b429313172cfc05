#include "base/socket.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/loopback.h"

namespace {

TEST(BindAny, TakesThePortOnEveryAddressOnce) {
  const base::Descriptor first = support::open_socket(SOCK_DGRAM);
  ASSERT_TRUE(base::bind_any(first.get(), 0));
  const sockaddr_in bound = support::own_address(first.get());
  EXPECT_EQ(bound.sin_addr.s_addr, htonl(INADDR_ANY));
  ASSERT_NE(bound.sin_port, 0);
  const base::Descriptor second = support::open_socket(SOCK_DGRAM);
  EXPECT_FALSE(base::bind_any(second.get(), ntohs(bound.sin_port)));
  EXPECT_EQ(errno, EADDRINUSE);
}

}  // namespace
