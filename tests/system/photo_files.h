// Photos for the tests, and what independent programs say of them.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace photo_files {

// Runs a program that has to succeed; its output.
inline std::string run(const std::vector<std::string>& command) {
  const support::CommandResult result = support::run_command(command);
  EXPECT_EQ(result.status, 0) << command.front() << ": " << result.output;
  return result.output;
}

// A JPEG of 640x480 with an EXIF block, a thumbnail in it, a Make of two letters (3 bytes), and no
// position.
inline void make_photo(const std::string& path) {
  const std::string thumbnail = "/tmp/photo_thumbnail.jpg";
  run({"ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=640x480:rate=1",
       "-frames:v", "1", "-pix_fmt", "yuvj420p", "-f", "mjpeg", path});
  run({"ffmpeg", "-y", "-v", "error", "-i", path, "-vf", "scale=160:120", "-f", "mjpeg",
       thumbnail});
  run({"exiftool", "-q", "-overwrite_original", "-Make=AB", "-ThumbnailImage<=" + thumbnail, path});
}

// A JPEG without EXIF.
inline void make_plain_photo(const std::string& path) {
  run({"ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=1",
       "-frames:v", "1", "-pix_fmt", "yuvj420p", "-f", "mjpeg", path});
}

// Every tag that exiftool shows, "Group:Tag" to its raw value; of duplicates the first.
inline std::map<std::string, std::string> exiftool(const std::string& path) {
  std::map<std::string, std::string> tags;
  std::istringstream lines(run({"exiftool", "-n", "-a", "-G1", "-s", "-s", path}));
  for (std::string line; std::getline(lines, line);) {
    // "[GPS]           GPSLatitude: 22.5"
    const size_t group = line.find(']');
    const size_t name = line.find_first_not_of(' ', group + 1);
    const size_t colon = line.find(": ", name);
    if (line.empty() || line[0] != '[' || colon == std::string::npos) continue;
    tags.emplace(line.substr(1, group - 1) + ":" + line.substr(name, colon - name),
                 line.substr(colon + 2));
  }
  return tags;
}

// Every tag that exiv2 shows, its key to its untranslated value; of duplicates the first.
inline std::map<std::string, std::string> exiv2(const std::string& path) {
  std::map<std::string, std::string> tags;
  std::istringstream lines(run({"exiv2", "-PEkv", path}));
  for (std::string line; std::getline(lines, line);) {
    const size_t end = line.find(' ');
    const size_t value = line.find_first_not_of(' ', end);
    if (end == std::string::npos) continue;
    tags.emplace(line.substr(0, end), value == std::string::npos ? "" : line.substr(value));
  }
  return tags;
}

// A checksum of the decoded picture.
inline std::string pixels(const std::string& path) {
  return run({"ffmpeg", "-v", "error", "-i", path, "-f", "md5", "-"});
}

// A tag's value as a number; not a number when there is none.
inline double number(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  return end == text.c_str() ? std::nan("") : value;
}

inline void expect_sound_jpeg(const std::string& path) {
  const std::string said = run({"jpeginfo", "-c", path});
  EXPECT_NE(said.find("OK"), std::string::npos) << said;
  EXPECT_EQ(said.find("WARNING"), std::string::npos) << said;
}

}  // namespace photo_files
