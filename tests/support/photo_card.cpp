#include "support/photo_card.h"

#include <array>
#include <cstdio>
#include <filesystem>

#include "supervisor/state/camera_flags.h"

namespace media_test {

std::string run(const std::string& command) {
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  std::string text;
  std::array<char, 4096> part{};
  size_t size = 0;
  while ((size = std::fread(part.data(), 1, part.size(), pipe)) > 0) text.append(part.data(), size);
  const int status = pclose(pipe);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  if (status != 0) text.insert(0, std::to_string(status) + ": ");
  return text;
}

std::string exiftool(const std::string& path, const std::string& tag) {
  return run("exiftool -s3 -n -" + tag + " " + path);
}

PhotoCard::PhotoCard() {
  make_folders();
  set_mode(0, 0);
}

PhotoCard::~PhotoCard() {
  std::filesystem::remove_all(kCard);
  set_mode(0, 0);
}

void PhotoCard::make_folders() {
  std::filesystem::remove_all(kCard);
  for (const std::string& folder : {kPic, kThumb}) std::filesystem::create_directories(folder);
}

void PhotoCard::set_mode(int32_t mode, int32_t sequence) {
  supervisor::set_photo_mode(mode);
  supervisor::set_photo_sequence(sequence);
}

}  // namespace media_test
