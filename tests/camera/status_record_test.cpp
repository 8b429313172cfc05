// The status record, the record tick and the sequence numbers of the two destinations.
#include "camera/status_record.h"

#include <algorithm>
#include <future>

#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/frame_decoder.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "flightlink/wire/link_context.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class CamStatus : public CameraTest {
 protected:
  // Some bytes of the record in hexadecimal.
  static std::string bytes(size_t from, size_t count) {
    uint8_t record[flightlink::kStatusRecordSize];
    std::ranges::fill(record, uint8_t{0xEE});
    cam_status_record(record);
    return hex(std::span(record).subspan(from, count));
  }

  struct Row {
    std::vector<std::pair<Setting, int32_t>> confirmed;
    const char* word;
  };
  // The word of the record at `from`, after one row's settings and then the next one's.
  static void expect_word(size_t from, const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      for (const auto& [setting, value] : row.confirmed) confirm(setting, value);
      EXPECT_EQ(bytes(from, 4), row.word);
    }
  }
};

TEST_F(CamStatus, TheDefaults) {
  EXPECT_EQ(bytes(0, 36),
            "01 00 20 00 00 00 00 00 00 00 00 00 00 00 00 00 3c 3c 03 06 19 00 00 00 00 00 80 3f "
            "02 00 00 00 00 00 00 00");
}

TEST_F(CamStatus, TheReportHoldsTheFirst33Bytes) {
  cam_status_report({});
  EXPECT_EQ(timeline(),
            Timeline{"app 76: 01 00 20 00 00 00 00 00 00 00 00 00 00 00 00 00 3c 3c 03 06 19 00 00 "
                     "00 00 00 80 3f 02 00 00 00 00"});
}

TEST_F(CamStatus, TheFirstWordHoldsTheSmallSettings) {
  confirm(kResolution, 10);
  confirm(kColorStyle, 3);
  confirm(kWhiteBalance, 2);
  confirm(kAeMode, 1);
  confirm(kCameraMode, 1);
  camera_state.SdStatus.store(10);  // report code 13
  camera_state.TimelapseState.store(3);
  EXPECT_EQ(bytes(0, 4), "3a 12 d1 03");
}

TEST_F(CamStatus, IsoAndExposureShareAWord) {
  confirm(kIso, 0x0640);
  confirm(kExposure, 0x1388);
  EXPECT_EQ(bytes(4, 4), "40 06 88 13");
}

TEST_F(CamStatus, SizesAreWholeMegabytes) {
  camera_state.SdTotalKB.store(31166976);  // 30436.5 MB
  camera_state.SdFreeKB.store(1023);
  EXPECT_EQ(bytes(8, 8), "00 c8 ed 46 00 00 00 00");
  camera_state.SdFreeKB.store(-1);  // an arithmetic shift: -1 MB
  EXPECT_EQ(bytes(12, 4), "00 00 80 bf");
}

TEST_F(CamStatus, ThePictureSettingsShareAWord) {
  const std::vector<std::pair<Setting, int32_t>> picture = {
      {kSaturation, 0x11}, {kContrast, 0x22}, {kSharpness, 0x33}, {kShutter, 30}, {kPivFormat, 1}};
  expect_word(16, {{picture, "11 22 33 3e"}, {{{kPivFormat, 0}, {kLowLight, 1}}, "11 22 33 5e"}});
}

TEST_F(CamStatus, TheGainAndTheLastSwitchesShareAWord) {
  expect_word(20, {{{{kMaxAgc, 33}, {kRawMode, 1}}, "a1 00 00 00"},
                   {{{kRawMode, 0}, {kStampOff, 1}}, "21 01 00 00"}});
}

TEST_F(CamStatus, WhereAMaskIsGivenOnlyTheLowBitsCount) {
  expect_word(16, {{{{kPivFormat, 2}, {kLowLight, 6}}, "3c 3c 03 06"},
                   {{{kPivFormat, 3}, {kLowLight, -1}}, "3c 3c 03 66"}});
  expect_word(20, {{{{kMaxAgc, 0x7F}, {kRawMode, 2}, {kStampOff, 2}}, "3f 00 00 00"},
                   {{{kMaxAgc, -1}, {kRawMode, 3}, {kStampOff, 3}}, "bf 01 00 00"}});
}

TEST_F(CamStatus, AWideValueSpillsIntoTheNextField) {
  // Color style: 2 there, and 1 in the white balance. Camera mode: 4 there, and 1 in the SD code,
  // which has 2.
  expect_word(0, {{{{kResolution, 0}, {kColorStyle, 0x12}}, "20 01 20 00"},
                  {{{kColorStyle, 0}, {kCameraMode, 0x14}}, "00 00 34 00"}});
  // Spilled 1 and 0x10.
  expect_word(4, {{{{kIso, 0x12345}, {kExposure, 0x10}}, "45 23 11 00"}});
  // Shutter: 0x10 there, and the piv format's bit.
  expect_word(16,
              {{{{kSaturation, 0x1FF}, {kContrast, 0x100}, {kSharpness, 0x200}, {kShutter, 0x30}},
                "ff 01 01 32"}});
}

TEST_F(CamStatus, AShutterThatIsUnknownFillsItsFieldOnly) {
  expect_word(16, {{{{kShutter, 31}}, "3c 3c 03 1f"}});
}

TEST_F(CamStatus, HostileValuesOnlyFillTheRecord) {
  for (int setting = 0; setting < kSettingCount; setting++) {
    confirm(static_cast<Setting>(setting), INT32_MIN);
  }
  camera_state.SdStatus.store(INT32_MIN);
  camera_state.SdTotalKB.store(INT32_MIN);
  camera_state.TimelapseState.store(INT32_MIN);
  EXPECT_EQ(bytes(0, 8), "00 00 20 80 00 00 00 80");
  // -2097152.0
  EXPECT_EQ(bytes(8, 4), "00 00 00 ca");
  EXPECT_EQ(bytes(20, 16), "00 00 00 00 00 00 80 3f 02 00 00 00 00 00 00 00");
}

TEST_F(CamStatus, TheRecordIsReadUnderTheStateLock) {
  std::future<void> reader;
  {
    const std::lock_guard lock(cam_json_context.StateLock);
    reader = std::async(std::launch::async, [] { cam_status_report({}); });
    EXPECT_EQ(reader.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    camera_settings.confirmed[kIso].store(0x64);
    camera_settings.confirmed[kExposure].store(0x32);
  }
  reader.get();
  EXPECT_EQ(timeline(),
            Timeline{"app 76: 01 00 20 00 64 00 32 00 00 00 00 00 00 00 00 00 3c 3c 03 06 19 00 00 "
                     "00 00 00 80 3f 02 00 00 00 00"});
}

TEST_F(CamStatus, ATickTellsOneMoreSecond) {
  camera_state.record_seconds.store(258);
  cam_record_tick({});
  cam_record_tick({});
  // 259.0 and 260.0
  const std::string rest =
      " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ca 00 00 03 00";
  EXPECT_EQ(timeline(), (Timeline{"app 76: 00 80 81 43" + rest, "app 76: 00 00 82 43" + rest}));
  EXPECT_EQ(camera_state.record_seconds.load(), 260U);
}

TEST_F(CamStatus, WithoutAPeerTheTickStillCounts) {
  flightlink::mavlink_context.peer_socket.store(0);
  cam_record_tick({});
  cam_status_report({});
  EXPECT_EQ(camera_state.record_seconds.load(), 1U);
}

TEST_F(CamStatus, EachDestinationHasItsOwnSequence) {
  say(R"({"rval":0,"msg_id":769})");   // application, flight controller
  say(R"({"rval":-1,"msg_id":772})");  // application
  say(R"({"rval":0,"msg_id":513})");   // application, flight controller
  const auto frames = datagrams();
  ASSERT_EQ(frames.size(), 5U);
  constexpr std::array kSystems = {0x24, 0x23, 0x24, 0x24, 0x23};
  for (size_t i = 0; i < frames.size(); i++) EXPECT_EQ(frames[i][3], kSystems.at(i));
  const auto after = [](uint8_t sequence, int steps) {
    return static_cast<uint8_t>(sequence + steps);
  };
  EXPECT_EQ(frames[2][2], after(frames[0][2], 1));
  EXPECT_EQ(frames[3][2], after(frames[0][2], 2));
  EXPECT_EQ(frames[4][2], after(frames[1][2], 1));
}

}  // namespace
}  // namespace camera_test
