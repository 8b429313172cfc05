// The factory's test station without its serial line: the tests, what the module has to reply, and
// the verdict.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace groundstation {

// Cuts what comes from the line into the replies, each ended by a zero. Fillers between them and a
// newline at a reply's end are dropped; a reply that is too long to be one is, too.
class FactoryReplies {
 public:
  void feed(std::span<const uint8_t> bytes, const std::function<void(const std::string&)>& take);

 private:
  std::string text_;
  bool too_long_ = false;
};

struct FactoryTest {
  const char* command;
  // Of the module; kFactoryMac stands for the line with its MAC address.
  std::vector<const char*> replies;
  double limit_s;
  const char* about;
};
inline constexpr const char* kFactoryMac = "MAC";

// In the order of the sheet. Those without a reply cannot be judged here; a sign of life has to do.
[[nodiscard]] const std::vector<FactoryTest>& factory_tests();
// Null when there is no such test.
[[nodiscard]] const FactoryTest* find_factory_test(std::string_view command);
inline constexpr const char* kFactorySignOfLife = "uart_test";

// Whether the text is six pairs of hexadecimal digits with colons between them.
[[nodiscard]] bool is_mac_text(std::string_view text);

// One test under way. Times are monotonic microseconds.
class FactoryCheck {
 public:
  // `mac`: the address that the module has to have; empty: any.
  FactoryCheck(const FactoryTest& test, std::string mac, uint64_t now_us);

  void take(const std::string& reply, uint64_t now_us);
  // The module has come to its last reply, so it takes the next command.
  [[nodiscard]] bool settled() const { return next_ == test_.replies.size(); }
  [[nodiscard]] bool passed() const { return settled() && trouble_.empty(); }
  // Why it has not passed.
  [[nodiscard]] std::string trouble() const;
  [[nodiscard]] const std::string& mac() const { return found_mac_; }

 private:
  void take_mac(const std::string& reply);

  const FactoryTest& test_;
  std::string mac_;
  std::string found_mac_;
  std::string trouble_;
  size_t next_ = 0;
  uint64_t previous_us_;
};

// One line of the sheet.
struct FactoryRow {
  std::string test;
  bool passed;
  double seconds;
  std::string told;
};
[[nodiscard]] std::string factory_sheet(const std::vector<FactoryRow>& rows);

}  // namespace groundstation
