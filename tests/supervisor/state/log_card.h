// The card of a board as the data logs see it. What cat reads from an ID file is the recording
// fake's.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fake_base/fake_base.h"
#include "supervisor/state/data_log.h"

namespace supervisor_test {

inline constexpr const char* kReadFlyctlId = "/bin/cat /tmp/SD0/FlyctlID";
inline constexpr const char* kReadGimbalId = "/bin/cat /tmp/SD0/GimbalID";
inline constexpr const char* kReadVBoardId = "/bin/cat /tmp/SD0/VBoardID";

inline std::string log_path(const char* name, int number) {
  std::string path("/tmp/SD0/");
  path.append(name).append("DataLog").append(std::to_string(number)).append(".txt");
  return path;
}
inline std::string flyctl_log(int number) { return log_path("Flyctl", number); }
inline std::string gimbal_log(int number) { return log_path("Gimbal", number); }
inline std::string vboard_log(int number) { return log_path("VBoard", number); }

inline std::string content(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A card with its media folder, and no log open.
class LogCard : public fake_base::FakeBaseTest {
 protected:
  LogCard() {
    supervisor::data_log_close_all();
    supervisor::data_log_suspend(0);
    for (const auto& entry : std::filesystem::directory_iterator("/tmp/SD0")) {
      std::filesystem::remove_all(entry.path());
    }
    std::filesystem::create_directories("/tmp/SD0/KRVMEDIA");
    fake_base::reset();
  }
  ~LogCard() override {
    supervisor::data_log_suspend(0);
    supervisor::data_log_close_all();
  }

  static int32_t write(int32_t kind, const std::string& text) {
    return supervisor::data_log_write(kind, text.data(), static_cast<int32_t>(text.size()));
  }
  static bool exists(const std::string& path) { return std::filesystem::exists(path); }
};

}  // namespace supervisor_test
