// The push of an image to another board, and the board that answers it.
#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "flightlink/firmware/boards.h"
#include "flightlink/firmware/firmware_rig.h"

namespace link_test {

inline constexpr const char* kGimbal = "/tmp/SD0/gimbalfw";
inline constexpr const char* kFlightController = "/tmp/SD0/flyctrolfw";
inline constexpr const char* kRepeater = "/tmp/SD0/repeatorfw";

class FirmwarePushing : public FirmwareTest {
 protected:
  FirmwarePushing() { clean(); }
  ~FirmwarePushing() override { clean(); }
  static void clean() {
    for (const char* path : {kGimbal, kFlightController, kRepeater}) {
      std::filesystem::remove_all(path);
    }
    flightlink::firmware_init();
  }
  // 481 bytes: 240 of 'a', 240 of 'b', a 'c'.
  static void put(const char* path) {
    std::ofstream(path) << std::string(240, 'a') + std::string(240, 'b') + "c";
    fake_base::push_shell_line(kMd5);
    flightlink::firmware_init();
  }
  // What the board does in the n-th second.
  static void each_second(std::function<void(int)> board) {
    auto seconds = std::make_shared<int>(0);
    fake_base::on_sleep([board = std::move(board), seconds](uint64_t us) {
      if (us == 1000000) board(++*seconds);
    });
  }
  static void push() {
    ASSERT_EQ(heartbeat(), 0);
    ASSERT_EQ(fake_base::threads().size(), 1U);
    EXPECT_EQ(fake_base::threads()[0].body, flightlink::FirmwarePushThread);
    EXPECT_EQ(flightlink::FirmwarePushThread(nullptr), nullptr);
  }
  static bool is_start(const Sent& sent) { return sent.id == 76; }
  static bool is_md5(const Sent& sent) {
    return sent.id == 110 &&
           sent.payload == hex("03 20 08 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 30 31 32 "
                               "33 34 35 36 37 38 39 61 62 63 64 65 66 " +
                               zeros(219));
  }
  // The index of a chunk with the right content; -1 for anything else.
  static int chunk_index(const Sent& sent) {
    if (sent.id != 110 || sent.payload[0] != 2 || sent.payload[2] != 8) return -1;
    const int index = sent.payload[6];
    const size_t size = index == 2 ? 1 : 240;
    Bytes expected{2, static_cast<uint8_t>(size + 4), 8, 0, 0, 0, static_cast<uint8_t>(index)};
    expected.insert(expected.end(), size, static_cast<uint8_t>('a' + index));
    expected.resize(254);
    return sent.payload == expected ? index : -1;
  }
};

}  // namespace link_test
