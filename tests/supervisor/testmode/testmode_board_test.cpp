// The factory's program as it is delivered, with a station at the far end of its serial line. The
// tests of one suite share one program and follow each other, as the station's do.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "support/board_files.h"
#include "support/camera_fake.h"
#include "support/child_process.h"
#include "support/fixtures.h"

namespace supervisor {
namespace {

using support::milliseconds;
using support::seconds;
using ::testing::ElementsAre;
using namespace std::string_literals;

const std::string kMedia = "/tmp/SD0/KRVMEDIA/";
const std::string kTestMarker = kMedia + "testmode.conf";
const std::string kRecordMarker = kMedia + "autorec.conf";
const std::string kOldPhoto = kMedia + "PIC/old.JPG";
const std::string kOldVideo = kMedia + "VIDEO/old.MP4";
constexpr const char* kFactoryLog = "/tmp/factory.log";

// ifconfig prints capitals.
std::string mac_record() {
  std::string line = std::getenv("BOARD_WLAN0_MAC");
  for (char& c : line) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  line += '\n';
  line.resize(100);
  return line;
}

class Station {
 public:
  Station() : line_(open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_TRUE(line_.open());
  }

  void send(const std::string& bytes) const {
    EXPECT_EQ(write(line_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // The next `size` bytes; fewer when the time is over.
  [[nodiscard]] std::string next(size_t size, milliseconds limit = seconds(5)) const {
    const support::Time end = support::Clock::now() + limit * support::kSlowdown;
    std::string text;
    while (text.size() < size) {
      const auto left = std::chrono::duration_cast<milliseconds>(end - support::Clock::now());
      pollfd readable{line_.get(), POLLIN, 0};
      if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) != 1) break;
      char piece[256];
      const ssize_t count = read(line_.get(), piece, std::min(sizeof(piece), size - text.size()));
      if (count < 1) break;
      text.append(piece, static_cast<size_t>(count));
    }
    return text;
  }
  // Shows that nothing comes.
  [[nodiscard]] std::string nothing() const { return next(1, milliseconds(500)); }

 private:
  base::Descriptor line_;
};

std::vector<std::string> program() { return {BIN_DIR "/factorytest"}; }

class FactoryTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    support::write_file(kTestMarker, "");
    station_.emplace();
    camera_ = std::make_unique<support::CameraFake>();
    camera_->answer_session();
    program_ = std::make_unique<support::ChildProcess>(program(), support::sanitizer_options());
    ASSERT_TRUE(program_->wait_for_line("set done!", seconds(10))) << program_->output();
    ASSERT_TRUE(camera_->wait_for(support::CameraFake::kSessionRequest, seconds(10)));
    ASSERT_TRUE(camera_->wait_for("\"msg_id\":4097", seconds(10)));
  }
  static void TearDownTestSuite() {
    EXPECT_FALSE(program_->status().has_value()) << program_->output();
    program_.reset();
    camera_.reset();
    station_.reset();
    unlink(kTestMarker.c_str());
  }

  // The whole protocol still works.
  static void expect_alive() {
    station_->send("uart_test");
    EXPECT_EQ(station_->next(13), "uart_test_ok\0"s) << program_->output();
  }
  // A read of the program's own, before the next bytes follow.
  static void send_alone(const std::string& bytes) {
    const size_t reads = program_->count_lines("nread=");
    station_->send(bytes);
    EXPECT_TRUE(
        support::poll_until([&] { return program_->count_lines("nread=") > reads; }, seconds(5)));
  }

  static inline std::optional<Station> station_;
  static inline std::unique_ptr<support::CameraFake> camera_;
  static inline std::unique_ptr<support::ChildProcess> program_;
};

TEST_F(FactoryTest, TheLineIsRawAt115200) {
  const base::Descriptor line(open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  ASSERT_EQ(tcgetattr(line.get(), &settings), 0);
  EXPECT_EQ(settings.c_iflag | settings.c_oflag | settings.c_lflag, 0U);
  EXPECT_EQ(settings.c_cflag & (CSIZE | CSTOPB | CREAD | CLOCAL | PARENB),
            tcflag_t{CS8 | CREAD | CLOCAL});
  EXPECT_EQ(cfgetospeed(&settings), speed_t{B115200});
  EXPECT_EQ(settings.c_cc[VMIN], 0);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
}

TEST_F(FactoryTest, UartAndCardTestsAreAnsweredWithTheirZero) {
  expect_alive();
  station_->send("sdcard_test");
  EXPECT_EQ(station_->next(15), "sdcard_test_ok\0"s);
  EXPECT_EQ(station_->nothing(), "");
  EXPECT_TRUE(program_->wait_for_line("testmod_uart_read_thread(line=298):get sdcard_test cmd!",
                                      seconds(5)));
}

TEST_F(FactoryTest, ALineEndingASplitAndACompanionSpoilACommand) {
  send_alone("uart_test\n");
  send_alone("uart_");
  send_alone("test");
  send_alone("uart_testsdcard_test");
  EXPECT_EQ(station_->nothing(), "");
  expect_alive();
}

TEST_F(FactoryTest, NoiseAndFloodsChangeNothing) {
  std::string noise;
  uint32_t seed = 1;
  for (int i = 0; i < 20000; i++) {
    seed = seed * 1664525 + 1013904223;
    noise.push_back(static_cast<char>(seed >> 24));
  }
  station_->send(noise.substr(0, 4000));
  station_->send(noise.substr(4000, 4000));
  station_->send(noise.substr(8000));
  // As on a wire, some of it is lost. Until the program has seen the rest.
  size_t lines = 0;
  EXPECT_TRUE(support::poll_until(
      [&] {
        support::let_pass(seconds(1));
        const size_t now = program_->count_lines("buf[");
        return now >= 4000 && std::exchange(lines, now) == now;
      },
      seconds(20)));
  EXPECT_EQ(station_->nothing(), "");
  expect_alive();
}

TEST_F(FactoryTest, ThePhotoTestEmptiesTheFolderAndAsksTheCamera) {
  support::write_file(kOldPhoto, "x");
  const size_t texts = camera_->mark();
  station_->send("snap_test");
  EXPECT_EQ(station_->next(13), "snap_test_ok\0"s);
  EXPECT_TRUE(support::list_folder(support::kPictures).empty());
  EXPECT_TRUE(camera_->wait_for("\"msg_id\":769", seconds(5), texts));
}

TEST_F(FactoryTest, TheRecordingTestTakesElevenSecondsAndReportsTheMacAddress) {
  camera_->answer("\"msg_id\":513", R"({"rval":0,"msg_id":513})");
  camera_->answer("\"msg_id\":514", R"({"rval":0,"msg_id":514})");
  support::write_file(kOldVideo, "x");
  const size_t texts = camera_->mark();
  const support::Time begin = support::Clock::now();
  station_->send("record_test");
  EXPECT_EQ(station_->next(13), "record_start\0"s);
  EXPECT_TRUE(support::list_folder(support::kVideos).empty());
  EXPECT_EQ(station_->next(100), mac_record());
  const auto start = camera_->wait_for("\"msg_id\":513", seconds(5), texts);
  // Commands of the meantime wait in the line and are read at once.
  station_->send("uart_");
  support::let_pass(seconds(1));
  station_->send("test");
  EXPECT_EQ(station_->next(12, seconds(15)), "record_over\0"s);
  const support::Time end = support::Clock::now();
  EXPECT_GE(end - begin, seconds(11));
  EXPECT_LT(end - begin, seconds(13) * support::kSlowdown);
  EXPECT_EQ(station_->next(13), "uart_test_ok\0"s);

  const auto stop = camera_->wait_for("\"msg_id\":514", seconds(1), texts);
  ASSERT_TRUE(start && stop);
  EXPECT_GE(stop->arrived - start->arrived, milliseconds(6900));
  // The line as it was read, with its newline, and the one that echo adds.
  EXPECT_EQ(support::read_file("/tmp/SD0/mac.txt"), mac_record().substr(0, 18) + "\n");
}

TEST_F(FactoryTest, TheRadioTestReloadsTheDriverOnceAndTransmitsEveryTime) {
  const std::string transmit =
      "athtcmd -i wlan0 --tx tx99 --txfreq 9 --txrate 11 --txpwr 20 --txchain 1\n";
  const std::string reload =
      "killall wpa_supplicant\nrmmod ath6kl_usb\n"
      "insmod /usr/local/share/script/USB25/ath6kl_usb.ko testmode=0x01\n";
  const auto logged = [&](const std::string& text) {
    return support::poll_until([&] { return support::read_file(kFactoryLog) == text; }, seconds(5));
  };
  support::write_file(kOldVideo, "x");
  support::write_file(kOldPhoto, "x");
  send_alone("wifi_start_1");
  EXPECT_TRUE(logged(reload + transmit)) << support::read_file(kFactoryLog);
  EXPECT_TRUE(support::list_folder(support::kVideos).empty());
  EXPECT_TRUE(support::list_folder(support::kPictures).empty());
  send_alone("wifi_start_2");
  send_alone("wifi_stop");
  send_alone("wifi_start_1");
  EXPECT_TRUE(logged(reload + transmit + transmit)) << support::read_file(kFactoryLog);
  EXPECT_EQ(station_->nothing(), "");
  expect_alive();
}

TEST(FactoryProgram, EndsAtOnceWithoutTheMarker) {
  support::ChildProcess program(supervisor::program(), support::sanitizer_options());
  const auto status = program.wait_for_end(seconds(10));
  ASSERT_TRUE(status.has_value());
  ASSERT_TRUE(WIFEXITED(*status));
  EXPECT_EQ(WEXITSTATUS(*status), 255);
  EXPECT_EQ(program.count_lines("open /dev/ttyS1"), 0U);
}

TEST(FactoryProgram, RecordsByItselfWhileTheCardSaysSo) {
  const Station station;
  support::write_file(kTestMarker, "");
  support::write_file(kRecordMarker, "");
  const support::Time begin = support::Clock::now();
  support::ChildProcess program(supervisor::program(), support::sanitizer_options());
  EXPECT_EQ(station.next(13, seconds(20)), "record_start\0"s);
  EXPECT_GE(support::Clock::now() - begin, seconds(11));  // 10 s of quiet, 1 s of the test
  EXPECT_EQ(station.next(100), mac_record());
  // The reader answers while the runner records.
  station.send("uart_test");
  EXPECT_EQ(station.next(13), "uart_test_ok\0"s);
  unlink(kRecordMarker.c_str());
  EXPECT_EQ(station.next(12, seconds(15)), "record_over\0"s);
  EXPECT_EQ(station.next(1, seconds(3)), "");
  unlink(kTestMarker.c_str());
}

}  // namespace
}  // namespace supervisor
