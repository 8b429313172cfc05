// What both test files of the factory test mode share.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace testmode_test {

using Events = std::vector<std::string>;

inline const std::string kEmptyVideos = "run rm -rf /tmp/SD0/KRVMEDIA/VIDEO/*";
inline const std::string kReadMac =
    "read /sbin/ifconfig wlan0 | /bin/grep HWaddr | /usr/bin/awk '{print $5}'";

// What the recording test does whatever the MAC address is.
inline Events record_events(const Events& mac) {
  Events events{kEmptyVideos, "sleep 1000000"};
  events.insert(events.end(), mac.begin(), mac.end());
  const Events rest{kEmptyVideos, "sleep 1000000", "sleep 7000000", "sleep 2000000"};
  events.insert(events.end(), rest.begin(), rest.end());
  return events;
}

inline std::string printed_by(const std::function<void()>& call) {
  ::testing::internal::CaptureStdout();
  call();
  return ::testing::internal::GetCapturedStdout();
}

}  // namespace testmode_test
