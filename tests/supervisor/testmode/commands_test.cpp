// Factory test mode word for word: the station's commands and what each of them prints, sends, runs
// and sleeps. Nothing is run and nobody sleeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "base/descriptor.h"
#include "supervisor/testmode/hardware_tests.h"
#include "supervisor/testmode/radio.h"
#include "supervisor/testmode/testmode.h"
#include "supervisor/testmode/testmode_rig.h"
#include "supervisor/testmode/uart.h"
#include "support/camera_socket.h"

namespace supervisor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace testmode_test;  // NOLINT
using namespace std::string_literals;

const std::string kTransmit =
    "run /usr/local/ath6kl/athtcmd -i wlan0 --tx tx99 --txfreq 9 --txrate 11 --txpwr 20 --txchain ";

// What the reader prints of one read.
std::string dump(const std::string& bytes) {
  std::string text =
      "testmod_uart_read_thread(line=288):nread=" + std::to_string(bytes.size()) + "\n";
  for (size_t i = 0; i < bytes.size(); i++) {
    text += "testmod_uart_read_thread(line=290):buf[" + std::to_string(i) +
            "]=" + std::to_string(static_cast<uint8_t>(bytes[i])) + "\n";
  }
  return text;
}

std::string got(const std::string& command, int line) {
  return "testmod_uart_read_thread(line=" + std::to_string(line) + "):get " + command + " cmd!\n";
}

// The station at the far end of a line.
class TestMode : public link_test::ReadyCamera {
 protected:
  TestMode() {
    support::open_pair(&near_, &far_);
    test_uart_state.clear();
    testmode_radio_clear();
    testmode_tests_clear();
    test_uart_state.fd.store(near_.get());
  }
  ~TestMode() override { test_uart_state.clear(); }

  void send(const std::string& bytes) const {
    EXPECT_EQ(write(far_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Everything that has come back since the last call.
  [[nodiscard]] std::string replies() const {
    char text[1024];
    const ssize_t size = recv(far_.get(), text, sizeof(text), MSG_DONTWAIT);
    return {text, size < 0 ? 0 : static_cast<size_t>(size)};
  }
  // One read of the program; what it printed.
  std::string turn(const std::string& bytes) {
    send(bytes);
    return printed_by(testmode_uart_turn);
  }

  base::Descriptor near_;
  base::Descriptor far_;
};

TEST_F(TestMode, TheUartTestIsAnsweredByThirteenBytes) {
  EXPECT_EQ(turn("uart_test"), dump("uart_test") + got("uart_test", 293));
  EXPECT_EQ(replies(), "uart_test_ok\0"s);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(TestMode, TheCardTestIsAnsweredWithoutALookAtTheCard) {
  EXPECT_EQ(turn("sdcard_test"), dump("sdcard_test") + got("sdcard_test", 298));
  EXPECT_EQ(replies(), "sdcard_test_ok\0"s);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(TestMode, TheSecondChainAndTheStopAreLoggedOnly) {
  EXPECT_EQ(turn("wifi_start_2"), dump("wifi_start_2") + got("wifi_start_2", 318));
  EXPECT_EQ(turn("wifi_stop"), dump("wifi_stop") + got("wifi_stop", 323));
  EXPECT_EQ(replies(), "");
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(TestMode, AnythingButExactlyACommandIsIgnored) {
  for (const std::string& text :
       {"uart_test\n"s, "uart_test\r"s, "uart_test "s, " uart_test"s, "UART_TEST"s, "uart_tes"s,
        "uart_testuart_test"s, "uart_test_ok"s, "\0uart_test"s, "wifi_start_"s, "wifi_start_3"s,
        "\xff\xfe\x80\x7f"s, "%s%n%s%n"s, "$(reboot)"s}) {
    EXPECT_EQ(turn(text), dump(text)) << text;
  }
  EXPECT_EQ(replies(), "");
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(TestMode, ATerminatingZeroEndsTheCommand) {
  EXPECT_EQ(turn("uart_test\0"s), dump("uart_test\0"s) + got("uart_test", 293));
  EXPECT_EQ(turn("uart_test\0more"s), dump("uart_test\0more"s) + got("uart_test", 293));
  EXPECT_EQ(replies(), "uart_test_ok\0uart_test_ok\0"s);
}

TEST_F(TestMode, ACommandInTwoReadsIsNone) {
  turn("uart_");
  turn("test");
  EXPECT_EQ(replies(), "");
}

TEST_F(TestMode, EveryByteIsLoggedAsItIs) {
  std::string first;
  for (int i = 0; i < 100; i++) first.push_back(static_cast<char>(i + 100));
  EXPECT_EQ(turn(first), dump(first));
}

TEST_F(TestMode, ATextThatIsTooLongIsReadByHundreds) {
  const std::string hundred(100, 'x');
  EXPECT_EQ(turn(hundred + "uart_test"), dump(hundred));
  EXPECT_EQ(replies(), "");
  // What is left is a read of its own.
  EXPECT_EQ(printed_by(testmode_uart_turn), dump("uart_test") + got("uart_test", 293));
  EXPECT_EQ(replies(), "uart_test_ok\0"s);
}

TEST_F(TestMode, ALineThatIsClosedIsReportedAndWaitedFor) {
  test_uart_state.fd.store(1023);  // nobody has that many
  for (int i = 0; i < 2; i++) {
    EXPECT_EQ(printed_by(testmode_uart_turn),
              "testmod_uart_read_thread(line=276):select failed!,exit\n");
  }
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(1000000, 1000000));
}

TEST_F(TestMode, AFarEndThatIsGoneDoesNotKeepTheReaderBusy) {
  far_.reset();
  EXPECT_EQ(printed_by(testmode_uart_turn), dump(""));
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(1000000));
}

TEST_F(TestMode, NothingIsWrittenToALineThatIsNotOpen) {
  test_uart_state.fd.store(0);
  EXPECT_EQ(test_uart_write("x", 1), -1);
  test_uart_state.fd.store(near_.get());
  EXPECT_EQ(test_uart_write("x", -1), -1);
  EXPECT_EQ(test_uart_write("x", 0), 0);
  EXPECT_EQ(test_uart_write("xyz", 2), 2);
  EXPECT_EQ(replies(), "xy");
}

TEST_F(TestMode, ThePhotoTestEmptiesTheFolderTakesAPhotoAndReplies) {
  link_test::CameraSocket camera;
  EXPECT_EQ(turn("snap_test"), dump("snap_test") + got("snap_test", 308));
  EXPECT_THAT(fake_base::events(), ElementsAre("run rm -rf /tmp/SD0/KRVMEDIA/PIC/*"));
  EXPECT_EQ(camera.sent(), "{\"msg_id\":769,\"token\":7}");
  EXPECT_EQ(replies(), "snap_test_ok\0"s);
}

TEST_F(TestMode, ThePhotoTestRepliesWithoutACameraService) {
  turn("snap_test");
  EXPECT_EQ(replies(), "snap_test_ok\0"s);
}

TEST_F(TestMode, TheRecordingTestTakesElevenSeconds) {
  link_test::CameraSocket camera;
  fake_base::push_shell_line("02:4B:9C:DE:F0:01\n");
  // Everything that the other sides see, in its order, and the flag, at the begin of every sleep.
  std::string story;
  const auto look = [&] {
    story += replies() + camera.sent() + (test_recording.load() != 0 ? "[1]" : "[0]");
  };
  fake_base::on_sleep([&](uint64_t us) {
    look();
    story.append(" ").append(std::to_string(us / 1000000)).append(" s; ");
    supervisor::set_record_cmd_pending(0);  // the service has answered
  });
  EXPECT_EQ(turn("record_test"),
            dump("record_test") + got("record_test", 303) +
                "testmode_record_timeout(line=382):testmode record timeout!\n");
  look();
  const std::string mac = "02:4B:9C:DE:F0:01\n" + std::string(82, '\0');
  EXPECT_EQ(story, "[0] 1 s; record_start\0"s + mac +
                       "[0] 1 s; {\"msg_id\":513,\"token\":7}[1] 7 s; "
                       "{\"msg_id\":514,\"token\":7}[0] 2 s; record_over\0[0]"s);
  EXPECT_EQ(fake_base::events(),
            record_events({kReadMac, "run echo '02:4B:9C:DE:F0:01\n' > /tmp/SD0/mac.txt"}));
}

TEST_F(TestMode, ARecordingTestWithoutAMacAddressSendsAndStoresNone) {
  turn("record_test");
  EXPECT_EQ(replies(), "record_start\0record_over\0"s);
  EXPECT_EQ(fake_base::events(), record_events({kReadMac}));
}

TEST_F(TestMode, AMacAddressThatCannotBeAskedForIsReported) {
  fake_base::fail_next_pipe();
  EXPECT_EQ(printed_by([] { EXPECT_EQ(testmode_save_mac_to_sd(), -1); }),
            "testmode_save_mac_to_sd(line=165):popen error!\n");
  EXPECT_EQ(replies(), "");
  EXPECT_THAT(fake_base::events(), ElementsAre(kReadMac));
}

TEST_F(TestMode, ALongMacLineIsCutInTheCommandAndNotOnTheLine) {
  const std::string line(99, 'a');
  fake_base::push_shell_line(line);
  EXPECT_EQ(testmode_save_mac_to_sd(), 0);
  EXPECT_EQ(replies(), line + '\0');
  EXPECT_THAT(fake_base::events(), ElementsAre(kReadMac, "run echo '" + std::string(93, 'a')));
}

TEST_F(TestMode, TheFirstRadioTestReloadsTheDriverAndTheSecondOnlyTransmits) {
  EXPECT_EQ(turn("wifi_start_1"), dump("wifi_start_1") + got("wifi_start_1", 313));
  EXPECT_EQ(
      fake_base::events(),
      (Events{"run /bin/rm -f /tmp/SD0/KRVMEDIA/VIDEO/*", "run /bin/rm -f /tmp/SD0/KRVMEDIA/PIC/*",
              "run killall wpa_supplicant", "run rmmod ath6kl_usb",
              "run /sbin/insmod /usr/local/share/script/USB25/ath6kl_usb.ko testmode=0x01",
              "sleep 1000000", kTransmit + "1"}));
  fake_base::reset();
  turn("wifi_start_1");
  EXPECT_EQ(fake_base::events(), Events{kTransmit + "1"});
  EXPECT_EQ(replies(), "");
}

TEST_F(TestMode, TheRadioTestKnowsTwoChains) {
  tx99.started.store(1);
  testmode_radio_test(2);
  testmode_radio_test(3);
  testmode_radio_test(0);
  testmode_radio_test(-1);
  EXPECT_EQ(fake_base::events(), Events{kTransmit + "2"});
}

TEST_F(TestMode, TheFirstRadioTestWaitsWhileItIsTold) {
  tx99.wait.store(1);
  fake_base::on_sleep([](uint64_t) {
    if (fake_base::sleeps().size() == 3) tx99.wait.store(0);
  });
  testmode_radio_test(1);
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(100000, 100000, 100000, 1000000));
}

}  // namespace
}  // namespace supervisor
