// MD5 of a file through the board's md5sum, and the "cks" file of a set.
#include "flightlink/firmware/checksum.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fake_base/fake_base.h"

namespace flightlink {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Of no bytes at all. Its characters add up to 2211, so that its checksum is 63324.
constexpr const char* kEmptyMd5 = "d41d8cd98f00b204e9800998ecf8427e";

class FirmwareChecksum : public fake_base::FakeBaseTest {
 protected:
  FirmwareChecksum()
      : folder(::testing::TempDir() + "firmware_checksum_" + std::to_string(getpid())),
        cks(folder + "/cks") {
    std::filesystem::create_directories(folder);
  }
  ~FirmwareChecksum() override { std::filesystem::remove_all(folder); }

  // A set of one image.
  int32_t check(const std::string& content) const {
    std::ofstream(cks, std::ios::binary) << content;
    fake_base::push_shell_line(std::string(kEmptyMd5) + "\n");
    const char* paths[] = {"/tmp/SD0/image", cks.c_str()};
    return firmware_cks_check(paths);
  }

  std::string folder;
  std::string cks;
};

TEST_F(FirmwareChecksum, Md5RunsTheBoardsProgramAndKeepsItsFirstLine) {
  char text[64];
  fake_base::push_shell_line(std::string(kEmptyMd5) + "\n");
  EXPECT_EQ(md5_of_file("/tmp/SD0/firmware", text, sizeof(text)), 0);
  EXPECT_STREQ(text, kEmptyMd5);
  EXPECT_THAT(fake_base::commands(),
              ElementsAre("/bin/md5sum /tmp/SD0/firmware | awk '{print $1}'"));
}

TEST_F(FirmwareChecksum, Md5FailsWhenTheProgramSaysNothing) {
  char text[64];
  EXPECT_EQ(md5_of_file("/tmp/SD0/none", text, sizeof(text)), -1);
  fake_base::push_shell_line("\n");
  EXPECT_EQ(md5_of_file("/tmp/SD0/none", text, sizeof(text)), -1);
}

TEST_F(FirmwareChecksum, Md5IsCutToTheCallersRoom) {
  char text[5];
  fake_base::push_shell_line(kEmptyMd5);
  EXPECT_EQ(md5_of_file("a", text, sizeof(text)), 0);
  EXPECT_STREQ(text, "d41d");
}

TEST_F(FirmwareChecksum, PathsThatMeanSomethingToAShellAreRefused) {
  char text[64];
  const std::string long_path(200, 'a');
  for (const char* path : {"", "/", "a b", "/tmp/;x", "/tmp/$(x)", "/tmp/../x", "/tmp//x",
                           "/tmp/x/", "-b", "a\nb", "a'b", "a|b", long_path.c_str()}) {
    EXPECT_EQ(md5_of_file(path, text, sizeof(text)), -1) << path;
  }
  EXPECT_EQ(md5_of_file(nullptr, text, sizeof(text)), -1);
  EXPECT_EQ(md5_of_file("a", nullptr, 10), -1);
  EXPECT_EQ(md5_of_file("a", text, 0), -1);
  EXPECT_THAT(fake_base::commands(), IsEmpty());
}

TEST_F(FirmwareChecksum, ChecksumIsTheComplementOfTheSumOfBytes) {
  EXPECT_EQ(firmware_checksum({}), 65535);
  const char one[] = {1};
  EXPECT_EQ(firmware_checksum(one), 65534);
  const char high[] = {'\xff', '\x01'};  // 256
  EXPECT_EQ(firmware_checksum(high), 65279);
  // 258 x 255 = 65790 = 65536 + 254, which folds to 255.
  const std::string many(258, '\xff');
  EXPECT_EQ(firmware_checksum(many), 65280);
  const std::string md5 = kEmptyMd5;
  EXPECT_EQ(firmware_checksum(md5), 63324);
}

TEST_F(FirmwareChecksum, ACksFileBegins99AndHoldsTheNumber) {
  EXPECT_EQ(check("9963324"), 0);
  EXPECT_EQ(check("9963324\n"), 0);
  EXPECT_EQ(check("9863324"), -1);
  EXPECT_EQ(check("9963325"), -1);
  EXPECT_EQ(check("63324"), -1);
  EXPECT_EQ(check("99"), -1);
  EXPECT_EQ(check(""), -1);
  EXPECT_EQ(check("99 63324"), -1);
  EXPECT_EQ(check("99-2212"), -1);
  EXPECT_EQ(check("996332400000000000000000000000000000000000"), -1);
  EXPECT_EQ(check("9963324x"), -1);
}

TEST_F(FirmwareChecksum, ASetWithoutACksOrWithAnUnreadableFileIsBad) {
  const char* no_cks[] = {"/tmp/SD0/image"};
  fake_base::push_shell_line(kEmptyMd5);
  EXPECT_EQ(firmware_cks_check(no_cks), -1);
  std::ofstream(cks) << "9963324";
  const char* unreadable[] = {cks.c_str(), "/tmp/SD0/none"};
  EXPECT_EQ(firmware_cks_check(unreadable), -1);
  EXPECT_EQ(firmware_cks_check({}), -1);
  const char* missing[] = {"/tmp/SD0/image", "/tmp/SD0/nowhere/cks"};
  fake_base::push_shell_line(kEmptyMd5);
  EXPECT_EQ(firmware_cks_check(missing), -1);
}

TEST_F(FirmwareChecksum, SixFilesFitAndSevenAreTooMany) {
  // 6 x 2211 = 13266; 65535 - 13266 = 52269. With a seventh: 65535 - 15477 = 50058.
  const char* paths[] = {"a", "b", "c", cks.c_str(), "d", "e", "f", "g"};
  std::ofstream(cks) << "9952269";
  for (int i = 0; i < 6; i++) fake_base::push_shell_line(kEmptyMd5);
  EXPECT_EQ(firmware_cks_check({paths, 7}), 0);
  std::ofstream(cks) << "9950058";
  for (int i = 0; i < 7; i++) fake_base::push_shell_line(kEmptyMd5);
  EXPECT_EQ(firmware_cks_check(paths), -1);
}

}  // namespace
}  // namespace flightlink
