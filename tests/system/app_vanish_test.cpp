// A confirmed application that vanishes without a word, for each reason: nothing of it ends the
// session, and while its filter is up nobody else is heard. The camera has to notice by itself.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "support/app_client.h"
#include "support/fixtures.h"
#include "support/station.h"

namespace {

using namespace support;  // NOLINT

const std::string kTable = "/tmp/macset.txt";
constexpr const char* kSmallDisk = "/tmp/small";

// From the last sign of life to a working session of somebody else. The kernel's own time-out does
// not get longer under a sanitizer, the rest does.
constexpr milliseconds kMostSilence = seconds(20) * kSlowdown;

std::string input_policy() {
  const std::string rules = run_command({"iptables", "-S", "INPUT"}).output;
  return rules.substr(0, rules.find('\n'));
}

bool wait_for_policy(const std::string& policy, milliseconds limit) {
  return poll_until(
      [&] {
        if (input_policy() == "-P INPUT " + policy) return true;
        let_pass(milliseconds(50));
        return false;
      },
      limit);
}

enum class Place { kPeer, kSecond, kBesideTheRadio };

struct Vanishing {
  const char* name;
  Place phone;
  std::function<void()> make_table;
  // What the phone's network then runs, and what lets it come back. Null: the filter, made of a
  // table that lacks the phone, drops its every packet anyway.
  const char* vanish = nullptr;
  const char* come_back = nullptr;
  bool storm = false;  // of a machine that the filter lets in
};

class AppVanish : public ::testing::TestWithParam<Vanishing> {
 protected:
  static void SetUpTestSuite() {
    second = add_second_station();
    // A network beside the radio; the peer is in it as well.
    EXPECT_EQ(run_command({"ip", "address", "add", "192.168.42.1/24", "dev", "usb0"}).status, 0);
    EXPECT_EQ(peer_station().run("ip address add 192.168.42.2/24 dev usb0"), 0);
    std::filesystem::create_directory(kSmallDisk);
    EXPECT_EQ(run_command({"mount", "-t", "tmpfs", "-o", "size=4k", "tmpfs", kSmallDisk}).status,
              0);
  }
  AppVanish() {
    clean();
    program_ = std::make_unique<RunningMaintask>("", Environment{}, "applink");
    EXPECT_TRUE(poll_until(
        [] { return read_file("/proc/net/tcp").find(" 00000000:22A2 ") != std::string::npos; },
        seconds(20)));
  }
  ~AppVanish() override {
    EXPECT_TRUE(program_->runs()) << program_->process().output();
    program_.reset();
    clean();
  }
  static void clean() {
    std::filesystem::remove_all(kTable);
    std::filesystem::remove_all(std::string(kSmallDisk) + "/filler");
    std::filesystem::remove_all(std::string(kSmallDisk) + "/table");
    run_command({"sh", "-c", "iptables --flush; iptables -P INPUT ACCEPT"});
    EXPECT_EQ(peer_station().run("iptables --flush"), 0);
  }
  static Station station(Place place) {
    if (place == Place::kSecond) return second;
    Station peer = peer_station();
    if (place == Place::kBesideTheRadio) peer.board = "192.168.42.1";
    return peer;
  }

  // An application whose HEARTBEAT is there before it is accepted, so that the filter does not keep
  // it away. Returns when the filter is up.
  AppClient confirmed_from(const Station& station) {
    program_->process().signal(SIGSTOP);
    AppClient application(AppClient::Until::kConnected, 0, seconds(10), station);
    EXPECT_TRUE(application.send(heartbeat(0, 0, 9)));
    lines_ = program_->process().lines().size();
    last_sign_ = Clock::now();
    program_->process().signal(SIGCONT);
    EXPECT_TRUE(wait_for_policy("DROP", seconds(10)));
    return application;
  }
  void last_sign_is_now() { last_sign_ = Clock::now(); }

  // Waits until the session has ended. It was confirmed, so only its connection can have ended it.
  void expect_the_end() {
    const auto ended = [&] {
      const auto lines = program_->process().lines();
      return std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(lines_), lines.end(),
                         [](const std::string& line) {
                           return line.find("quadrotor disconnected") != std::string::npos ||
                                  line.find(":send error,") != std::string::npos;
                         });
    };
    EXPECT_TRUE(poll_until(ended, kMostSilence));
  }
  void expect_served(const Station& next) {
    AppClient application(AppClient::Until::kServed, 0, seconds(10), next);
    EXPECT_LE(Clock::now() - last_sign_, kMostSilence);
    application.hang_up();
  }

  static Station second;
  std::unique_ptr<RunningMaintask> program_;

 private:
  size_t lines_ = 0;  // printed before the session
  Time last_sign_;
};
Station AppVanish::second;

// Connects and leaves again, with a HEARTBEAT each time, and floods the ports of the link.
void storm(const Station& station, const std::atomic<bool>& over) {
  const base::Descriptor flood = station.open_socket(SOCK_DGRAM);
  const Bytes beat = encode(heartbeat(0, 0, 9));
  sockaddr_in to{};
  to.sin_family = AF_INET;
  inet_pton(AF_INET, station.board.c_str(), &to.sin_addr);
  const auto* address = reinterpret_cast<const sockaddr*>(&to);
  while (!over) {
    for (const uint16_t port : {uint16_t{8888}, uint16_t{8867}}) {
      to.sin_port = htons(port);
      sendto(flood.get(), beat.data(), beat.size(), 0, address, sizeof(to));
    }
    const base::Descriptor caller = station.open_socket(SOCK_STREAM | SOCK_NONBLOCK);
    to.sin_port = htons(8866);
    connect(caller.get(), address, sizeof(to));
    let_pass(milliseconds(5));
    send(caller.get(), beat.data(), beat.size(), MSG_NOSIGNAL);
  }
}

TEST_P(AppVanish, IsNoticedAndTheNextOneIsServed) {
  GetParam().make_table();
  const Station phone = station(GetParam().phone);
  AppClient application = confirmed_from(phone);
  if (GetParam().vanish != nullptr) {
    EXPECT_TRUE(application.wait_for_bytes({}, seconds(5)));
    EXPECT_EQ(phone.run(GetParam().vanish), 0);
    last_sign_is_now();
  }
  std::atomic<bool> over{!GetParam().storm};
  std::thread storming([&] { storm(second, over); });
  expect_the_end();
  over = true;
  storming.join();
  EXPECT_TRUE(wait_for_policy("ACCEPT", seconds(5)));
  expect_served(GetParam().phone == Place::kPeer ? second : peer_station());
  if (GetParam().come_back == nullptr) return;
  EXPECT_EQ(phone.run(GetParam().come_back), 0);
  const AppClient again(AppClient::Until::kServed, 0, seconds(20), phone);
}

void keep_table() {}

void fill_small_disk() {
  write_file(std::string(kSmallDisk) + "/table", "");
  write_file(std::string(kSmallDisk) + "/filler", std::string(4096, 'x'));
  std::filesystem::create_symlink(std::string(kSmallDisk) + "/table", kTable);
}

const Vanishing kVanishings[] = {
    {"ItsPacketsGetLost", Place::kPeer, keep_table,
     "iptables -I INPUT -j DROP && iptables -I OUTPUT -j DROP", "iptables --flush"},
    {"ItsRadioIsOff", Place::kSecond, keep_table, "ip link set wlan0 down", "ip link set wlan0 up"},
    {"TheTableHasEmptyEntries", Place::kPeer, [] { write_file(kTable, ";;;;;\n"); }},
    {"TheTableIsAFolder", Place::kPeer, [] { std::filesystem::create_directory(kTable); }},
    {"TheTablesFileSystemIsFull", Place::kPeer, fill_small_disk},
    {"ItIsNotOnTheRadioAndTheTableIsEmpty", Place::kBesideTheRadio, [] { write_file(kTable, ""); }},
    {"ItIsNotOnTheRadioAndAnotherMachineStorms", Place::kBesideTheRadio,
     [] { write_file(kTable, "02:4b:9c:de:f0:70\n"); }, nullptr, nullptr, true},
};

INSTANTIATE_TEST_SUITE_P(When, AppVanish, ::testing::ValuesIn(kVanishings),
                         [](const auto& vanishing) { return vanishing.param.name; });

}  // namespace
