// Files of the board that a test writes and looks at.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/patience.h"

namespace support {

inline constexpr const char* kPictures = "/tmp/SD0/KRVMEDIA/PIC/";
inline constexpr const char* kVideos = "/tmp/SD0/KRVMEDIA/VIDEO/";
inline constexpr const char* kThumbnails = "/tmp/SD0/KRVMEDIA/THUMB/";

// The whole file; empty when there is none.
std::string read_file(const std::string& path);
// Makes the folders on the way. The test fails when the file cannot be written.
void write_file(const std::string& path, std::string_view content);
bool file_exists(const std::string& path);
// Names in a folder, sorted; empty when there is no such folder.
std::vector<std::string> list_folder(const std::string& path);

// What the GPIO script was called with, oldest first: "9 1", "10 0".
std::vector<std::string> gpio_log();
// The same for one line only: the values.
std::vector<std::string> gpio_values(std::string_view line);

}  // namespace support
