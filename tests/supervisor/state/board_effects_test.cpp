// What the state module does to a board with its real shell: the card, the GPIO script and the
// interface's address.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "supervisor/state/indicator.h"
#include "supervisor/state/mac_address.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

namespace fs = std::filesystem;

std::string content(const char* path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(BoardEffects, TheTestMarkerEmptiesVideoAndPicButNothingElse) {
  const std::string media = "/tmp/SD0/KRVMEDIA/";
  for (const char* folder : {"VIDEO", "PIC", "THUMB"}) {
    fs::create_directories(media + folder);
    for (const char* name : {"/1.MP4", "/2.JPG"}) std::ofstream(media + folder + name) << "x";
  }
  std::ofstream(media + "testmode.conf") << "";
  read_marker_files();
  EXPECT_EQ(get_test_mode(), 1);
  EXPECT_TRUE(fs::is_empty(media + "VIDEO"));
  EXPECT_TRUE(fs::is_empty(media + "PIC"));
  EXPECT_TRUE(fs::exists(media + "THUMB/1.MP4"));
  EXPECT_TRUE(fs::exists(media + "testmode.conf"));
}

TEST(BoardEffects, TheIndicatorReachesTheGpioScript) {
  fs::remove("/tmp/gpio.log");
  switches.indicator_blink.store(1);
  for (int i = 0; i < 3; i++) indicator_tick();
  switches.indicator_blink.store(0);
  switches.indicator_level.store(1);
  indicator_tick();
  EXPECT_EQ(content("/tmp/gpio.log"), "9 1\n9 0\n9 1\n");
}

TEST(BoardEffects, TheMacAddressIsTheUsbInterfaces) {
  const char* expected = std::getenv("BOARD_USB0_MAC");
  ASSERT_NE(expected, nullptr);
  obtain_macaddr();
  char text[18];
  std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", camera_mac[0].load(),
                camera_mac[1].load(), camera_mac[2].load(), camera_mac[3].load(),
                camera_mac[4].load(), camera_mac[5].load());
  EXPECT_STREQ(text, expected);
}

}  // namespace
}  // namespace supervisor
