#include "groundstation/link/endpoint.h"

#include <gtest/gtest.h>

namespace groundstation_test {
namespace {

using groundstation::endpoint_text;
using groundstation::parse_endpoint;

TEST(Endpoint, PortIsOptional) {
  EXPECT_EQ(endpoint_text(parse_endpoint("192.168.31.1", 8888).value()), "192.168.31.1:8888");
  EXPECT_EQ(endpoint_text(parse_endpoint("127.0.0.1:99", 8888).value()), "127.0.0.1:99");
}

TEST(Endpoint, AnythingElseIsRefused) {
  for (const char* text : {"", ":", "camera", "1.2.3", "1.2.3.4:", "1.2.3.4:x", "1.2.3.4:70000",
                           "1.2.3.4:-1", "1.2.3.4:5 ", "256.1.1.1"}) {
    EXPECT_FALSE(parse_endpoint(text, 8888).has_value()) << text;
  }
}

}  // namespace
}  // namespace groundstation_test
