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
  confirm(kSaturation, 0x11);
  confirm(kContrast, 0x22);
  confirm(kSharpness, 0x33);
  confirm(kShutter, 30);
  confirm(kPivFormat, 1);
  EXPECT_EQ(bytes(16, 4), "11 22 33 3e");
  confirm(kPivFormat, 0);
  confirm(kLowLight, 1);
  EXPECT_EQ(bytes(16, 4), "11 22 33 5e");
}

TEST_F(CamStatus, TheGainAndTheLastSwitchesShareAWord) {
  confirm(kMaxAgc, 33);
  confirm(kRawMode, 1);
  EXPECT_EQ(bytes(20, 4), "a1 00 00 00");
  confirm(kRawMode, 0);
  confirm(kStampOff, 1);
  EXPECT_EQ(bytes(20, 4), "21 01 00 00");
}

TEST_F(CamStatus, WhereAMaskIsGivenOnlyTheLowBitsCount) {
  confirm(kPivFormat, 2);
  confirm(kLowLight, 6);
  EXPECT_EQ(bytes(16, 4), "3c 3c 03 06");
  confirm(kPivFormat, 3);
  confirm(kLowLight, -1);
  EXPECT_EQ(bytes(16, 4), "3c 3c 03 66");
  confirm(kMaxAgc, 0x7F);
  confirm(kRawMode, 2);
  confirm(kStampOff, 2);
  EXPECT_EQ(bytes(20, 4), "3f 00 00 00");
  confirm(kMaxAgc, -1);
  confirm(kRawMode, 3);
  confirm(kStampOff, 3);
  EXPECT_EQ(bytes(20, 4), "bf 01 00 00");
}

TEST_F(CamStatus, AWideValueSpillsIntoTheNextField) {
  confirm(kResolution, 0);
  confirm(kColorStyle, 0x12);  // 2 there, and 1 in the white balance
  EXPECT_EQ(bytes(0, 4), "20 01 20 00");
  confirm(kColorStyle, 0);
  confirm(kCameraMode, 0x14);  // 4 there, and 1 in the SD code, which has 2
  EXPECT_EQ(bytes(0, 4), "00 00 34 00");
  confirm(kIso, 0x12345);
  confirm(kExposure, 0x10);  // spilled 1 and 0x10
  EXPECT_EQ(bytes(4, 4), "45 23 11 00");
  confirm(kSaturation, 0x1FF);
  confirm(kContrast, 0x100);
  confirm(kSharpness, 0x200);
  confirm(kShutter, 0x30);  // 0x10 there, and the piv format's bit
  EXPECT_EQ(bytes(16, 4), "ff 01 01 32");
}

TEST_F(CamStatus, AShutterThatIsUnknownFillsItsFieldOnly) {
  confirm(kShutter, 31);
  EXPECT_EQ(bytes(16, 4), "3c 3c 03 1f");
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
