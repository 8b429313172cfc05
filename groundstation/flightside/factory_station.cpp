#include "groundstation/flightside/factory_station.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>

namespace groundstation {
namespace {

constexpr size_t kFactoryLongest = 100;
constexpr const char* kFactoryRecordOver = "record_over";
// The module records for 7 s and waits for 2 s before it says that the recording is over.
constexpr uint64_t kFactoryShortestRecordUs = 9'000'000;

bool same_mac(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
    return std::tolower(x) == std::tolower(y);
  });
}

}  // namespace

void FactoryReplies::feed(std::span<const uint8_t> bytes,
                          const std::function<void(const std::string&)>& take) {
  for (const uint8_t byte : bytes) {
    if (byte != 0) {
      if (text_.size() < kFactoryLongest) {
        text_ += static_cast<char>(byte);
      } else {
        too_long_ = true;
      }
      continue;
    }
    while (!text_.empty() && text_.back() == '\n') text_.pop_back();
    const std::string reply = std::exchange(text_, "");
    if (!std::exchange(too_long_, false) && !reply.empty()) take(reply);
  }
}

const std::vector<FactoryTest>& factory_tests() {
  static const std::vector<FactoryTest> tests{
      {"uart_test", {"uart_test_ok"}, 2, "the serial line, both ways"},
      {"sdcard_test", {"sdcard_test_ok"}, 2, "the module answers for its card"},
      {"snap_test", {"snap_test_ok"}, 15, "empties PIC and takes a photo"},
      {"record_test",
       {"record_start", kFactoryMac, kFactoryRecordOver},
       25,
       "empties VIDEO and records for 7 s; tells the MAC address"},
      {"wifi_start_1", {}, 15, "transmits without end, until the module is switched off"},
      {"wifi_start_2", {}, 15, "nothing but a line in the module's log"},
      {"wifi_stop", {}, 15, "nothing but a line in the module's log"},
  };
  return tests;
}

const FactoryTest* find_factory_test(std::string_view command) {
  const auto& tests = factory_tests();
  const auto found = std::find_if(tests.begin(), tests.end(),
                                  [&](const FactoryTest& test) { return command == test.command; });
  return found == tests.end() ? nullptr : &*found;
}

bool is_mac_text(std::string_view text) {
  if (text.size() != 17) return false;
  for (size_t i = 0; i < text.size(); i++) {
    const bool good =
        i % 3 == 2 ? text[i] == ':' : std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!good) return false;
  }
  return true;
}

FactoryCheck::FactoryCheck(const FactoryTest& test, std::string mac, uint64_t now_us)
    : test_(test), mac_(std::move(mac)), previous_us_(now_us) {}

void FactoryCheck::take(const std::string& reply, uint64_t now_us) {
  if (settled()) return;
  const char* wanted = test_.replies[next_];
  if (wanted == kFactoryMac && is_mac_text(reply)) {
    take_mac(reply);
    return;
  }
  if (wanted == kFactoryMac && reply == kFactoryRecordOver) {
    trouble_ = "it told no MAC address: has it a wlan0?";
    next_++;
    wanted = kFactoryRecordOver;
  }
  // Other replies belong to an earlier test that came too late, or to a recording by itself.
  if (reply != wanted) return;
  if (reply == kFactoryRecordOver && now_us - previous_us_ < kFactoryShortestRecordUs &&
      trouble_.empty()) {
    trouble_ = fmt::format("the recording was over after {:.1f} s",
                           static_cast<double>(now_us - previous_us_) / 1e6);
  }
  // The MAC address comes with the beginning of the recording, which is what counts.
  previous_us_ = now_us;
  next_++;
}

void FactoryCheck::take_mac(const std::string& reply) {
  found_mac_ = reply;
  if (!mac_.empty() && !same_mac(mac_, reply)) {
    trouble_ = fmt::format("its MAC address is {}, not {}", reply, mac_);
  }
  next_++;
}

std::string FactoryCheck::trouble() const {
  if (!trouble_.empty() || settled()) return trouble_;
  return fmt::format("no {}",
                     test_.replies[next_] == kFactoryMac ? "MAC address" : test_.replies[next_]);
}

std::string factory_sheet(const std::vector<FactoryRow>& rows) {
  std::string text = fmt::format("  {:<14}{:<8}{:>8}  {}", "test", "result", "seconds", "");
  text.erase(text.find_last_not_of(' ') + 1);
  for (const FactoryRow& row : rows) {
    std::string line = fmt::format("\n  {:<14}{:<8}{:>8.1f}  {}", row.test,
                                   row.passed ? "pass" : "FAIL", row.seconds, row.told);
    line.erase(line.find_last_not_of(' ') + 1);
    text += line;
  }
  return text;
}

}  // namespace groundstation
