// The step file on the card.
#include "flightlink/firmware/step_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fake_base/fake_base.h"
#include "support/board_files.h"

namespace flightlink {
namespace {

using ::testing::ElementsAre;

class FirmwareStep : public fake_base::FakeBaseTest {
 protected:
  FirmwareStep() { std::filesystem::remove_all(kFirmwareStepFile); }
  ~FirmwareStep() override { std::filesystem::remove_all(kFirmwareStepFile); }
};

TEST_F(FirmwareStep, EachStepIsOneLetter) {
  const std::string letters = "PBTMRES";
  for (int32_t step = 0; step < 7; step++) {
    EXPECT_EQ(fw_step_set(step), 0);
    EXPECT_EQ(support::read_file(kFirmwareStepFile), letters.substr(static_cast<size_t>(step), 1));
  }
  for (const int32_t other : {7, 8, -1, 1000}) {
    EXPECT_EQ(fw_step_set(other), 0);
    EXPECT_EQ(support::read_file(kFirmwareStepFile), "U") << other;
  }
}

TEST_F(FirmwareStep, TheFirstLetterIsReadBack) {
  struct Row {
    const char* content;
    int32_t step;
  };
  for (const Row row : {Row{"P", 0},
                        {"B", 1},
                        {"T", 2},
                        {"M", 3},
                        {"R", 4},
                        {"E", 5},
                        {"S", 6},
                        {"U", 0},
                        {"t", 0},
                        {"", 0},
                        {"\xff", 0},
                        {"T\n", 2},
                        {"MT", 3}}) {
    std::ofstream(kFirmwareStepFile, std::ios::binary) << row.content;
    EXPECT_EQ(fw_step_get(), row.step) << row.content;
  }
}

TEST_F(FirmwareStep, NoFileReadsAs7) { EXPECT_EQ(fw_step_get(), 7); }

TEST_F(FirmwareStep, TheFileIsWrittenFresh) {
  std::ofstream(kFirmwareStepFile) << "something longer\n";
  EXPECT_EQ(fw_step_set(2), 0);
  EXPECT_EQ(support::read_file(kFirmwareStepFile), "T");
}

TEST_F(FirmwareStep, ACardThatRefusesGivesMinusOne) {
  std::filesystem::create_directory(kFirmwareStepFile);
  EXPECT_EQ(fw_step_set(2), -1);
}

TEST_F(FirmwareStep, DeletingIsACommand) {
  fw_step_delete();
  EXPECT_THAT(fake_base::events(), ElementsAre("run rm -rf /tmp/SD0/fwstep"));
}

}  // namespace
}  // namespace flightlink
