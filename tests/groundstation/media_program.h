// The ground station's media commands against a small media channel, and a folder for what they fetch.
#pragma once

#include <filesystem>
#include <iterator>
#include <string>

#include "groundstation/fake_media_camera.h"
#include "groundstation/run_program.h"

namespace groundstation_test {

// Bytes that no two seeds share.
std::string contents(size_t size, uint32_t seed);

// Runs `media arguments` for that camera.
ProgramResult media(FakeMediaCamera& camera, const std::string& arguments,
                    const std::string& input = "", const std::string& before = "");

// A fresh one, gone at the end.
struct Folder : OwnPath {
  Folder() : OwnPath("folder") { std::filesystem::create_directories(path); }
  [[nodiscard]] std::string operator/(const std::string& name) const { return path + "/" + name; }
  [[nodiscard]] size_t files() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
  }
};

}  // namespace groundstation_test
