// The settings file of a virtual board.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <sstream>

#include "base/descriptor.h"
#include "camera/connection.h"
#include "camera/settings_file.h"
#include "camera/settings_table.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kPath = "/pref/cam.conf";

class CamConfBoard : public ::testing::Test {
 protected:
  CamConfBoard() {
    cam_settings_init();
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    connection_.reset(ends[0]);
    service_.reset(ends[1]);
    cam_json_context.Token.store(77);
    cam_json_publish(connection_.get(), "{}", 2);
    (void)sent();
  }
  ~CamConfBoard() override {
    cam_json_withdraw();
    cam_clear_op_state();
    unlink(kPath);
  }

  // Loads a file of that text; true when it took at least that long.
  bool load(const std::string& text, std::chrono::milliseconds at_least) {
    std::ofstream(kPath) << text;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(cam_conf_load(&owner_), 0);
    EXPECT_EQ(owner_.loading.load(), 0);
    return std::chrono::steady_clock::now() - start >= at_least;
  }
  std::vector<std::string> sent() {
    std::vector<std::string> texts;
    std::array<char, 256> text{};
    ssize_t size = 0;
    while ((size = recv(service_.get(), text.data(), text.size(), MSG_DONTWAIT)) > 0) {
      texts.emplace_back(text.data(), static_cast<size_t>(size));
    }
    return texts;
  }

  CamConfOwner owner_{};
  base::Descriptor connection_;
  base::Descriptor service_;
};

constexpr const char* kVivid = R"({"msg_id":2,"token":77,"param":"VIVID","type":"color_style"})";
constexpr const char* kDay =
    R"({"msg_id":2,"token":77,"param":"Day","type":"scene_white_balance"})";

TEST_F(CamConfBoard, BothSettingsAreGivenToTheCamera) {
  EXPECT_TRUE(load("colstyle=2\nwblance=1\n", std::chrono::seconds(1)));
  EXPECT_EQ(confirmed(kColorStyle), 2);
  EXPECT_EQ(confirmed(kWhiteBalance), 1);
  EXPECT_THAT(sent(), ElementsAre(kVivid, kDay));
}

// What is requested is the business of the command that tells it.
TEST_F(CamConfBoard, AValueThatCannotBeToldIsNotRequested) {
  load("colstyle=7\n", std::chrono::seconds(0));
  EXPECT_EQ(confirmed(kColorStyle), 7);
  EXPECT_EQ(requested(kColorStyle), 0);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(CamConfBoard, WhatWasRequestedInVainDoesNotKeepTheFileFromTheCamera) {
  request(kColorStyle, 3);
  load("colstyle=2\n", std::chrono::seconds(0));
  EXPECT_EQ(requested(kColorStyle), 2);
  EXPECT_EQ(confirmed(kColorStyle), 2);
  EXPECT_THAT(sent(), ElementsAre(kVivid));
}

TEST_F(CamConfBoard, WordsAreFoundAnywhereInALine) {
  load("# my colstyle:2;wblance=1\n\nunknown=7\nthe wblance 1", std::chrono::seconds(0));
  EXPECT_THAT(sent(), ElementsAre(kVivid, kDay)) << "one setting a line, the colour style first";
}

TEST_F(CamConfBoard, TheValueStandsAtItsPlaceBehindTheWord) {
  load("colstyle22\n", std::chrono::seconds(0));
  EXPECT_EQ(confirmed(kColorStyle), 2);
  EXPECT_THAT(sent(), ElementsAre(kVivid));
  load("wblance\n", std::chrono::seconds(0));
  EXPECT_EQ(confirmed(kWhiteBalance), 0);
}

TEST_F(CamConfBoard, LinesAreReadIn49Characters) {
  // The word's place is in the second piece.
  load(std::string(49, 'x') + "wblance=1\n", std::chrono::seconds(0));
  EXPECT_THAT(sent(), ElementsAre(kDay));
  // The word is cut in two.
  load(std::string(45, 'x') + "colstyle=2\n", std::chrono::seconds(0));
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(CamConfBoard, OddFilesAreHarmless) {
  load("", std::chrono::seconds(0));
  load(std::string(3000, '\0') + "\n", std::chrono::seconds(0));
  load(std::string(3000, 'x'), std::chrono::seconds(0));
  load("\n\n\n=\n", std::chrono::seconds(0));
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(confirmed(kColorStyle), 0);
}

TEST_F(CamConfBoard, AFileThatIsNotThereIsReported) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(cam_conf_load(&owner_), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Could not open config file: /pref/cam.conf\n");
  EXPECT_EQ(owner_.loading.load(), 0);
}

TEST_F(CamConfBoard, WhatIsSavedIsLoadedAgain) {
  request(kColorStyle, 2);
  confirm(kColorStyle, 2);
  request(kWhiteBalance, 1);
  confirm(kWhiteBalance, 1);
  EXPECT_EQ(cam_conf_save(&owner_), 0);
  std::stringstream text;
  text << std::ifstream(kPath).rdbuf();
  EXPECT_EQ(text.str(), "colstyle=2\nwblance=1\n");
  cam_settings_init();
  EXPECT_EQ(cam_conf_load(&owner_), 0);
  EXPECT_EQ(confirmed(kColorStyle), 2);
  EXPECT_EQ(confirmed(kWhiteBalance), 1);
  cam_conf_remove();
  EXPECT_NE(access(kPath, F_OK), 0);
}

}  // namespace
}  // namespace camera_test
