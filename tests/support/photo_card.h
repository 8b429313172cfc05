// The card of a virtual board with its photo folders, which are empty when a test begins.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/photo.h"

namespace media_test {

using Names = std::vector<std::string>;

inline const std::string kCard = "/tmp/SD0/KRVMEDIA";
inline const std::string kPic = kCard + "/PIC";
inline const std::string kThumb = kCard + "/THUMB";

// What a command prints, without the last newline; its status in front when it is not 0.
[[nodiscard]] std::string run(const std::string& command);
// A tag of a photo as a plain number or text.
[[nodiscard]] std::string exiftool(const std::string& path, const std::string& tag);

// Photos keep their names (mode 0) until a test sets another mode.
class PhotoCard : public ::testing::Test {
 protected:
  PhotoCard();
  ~PhotoCard() override;

  static void make_folders();
  static void set_mode(int32_t mode, int32_t sequence);
};

}  // namespace media_test
