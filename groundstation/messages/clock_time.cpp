#include "groundstation/messages/clock_time.h"

#include <fmt/format.h>

#include <chrono>
#include <regex>

#include "groundstation/messages/whole_number.h"

namespace groundstation {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::year_month_day;

// No year beyond this one is shown, so that every number of milliseconds can be.
constexpr uint64_t kLastMillisecond = 253402300799999;  // 9999-12-31 23:59:59.999

}  // namespace

std::optional<uint64_t> parse_clock(const std::string& text) {
  if (const auto milliseconds = whole_number<uint64_t>(text)) return milliseconds;
  static const std::regex kForm(
      R"((\d{4})-(\d\d)-(\d\d)[T ](\d\d):(\d\d):(\d\d)(Z|([+-])(\d\d):(\d\d))?)");
  std::smatch parts;
  if (!std::regex_match(text, parts, kForm)) return std::nullopt;
  const auto number = [&](size_t part) { return parts[part].matched ? std::stoi(parts[part]) : 0; };
  const year_month_day day{std::chrono::year(number(1)),
                           std::chrono::month(static_cast<unsigned>(number(2))),
                           std::chrono::day(static_cast<unsigned>(number(3)))};
  if (!day.ok() || number(4) > 23 || number(5) > 59 || number(6) > 59) return std::nullopt;
  if (number(9) > 23 || number(10) > 59) return std::nullopt;
  const seconds zone = hours(number(9)) + minutes(number(10));
  const seconds local =
      sys_days(day).time_since_epoch() + hours(number(4)) + minutes(number(5)) + seconds(number(6));
  const seconds utc = parts[8] == "-" ? local + zone : local - zone;
  if (utc.count() < 0) return std::nullopt;
  return static_cast<uint64_t>(utc.count()) * 1000;
}

std::string clock_text(uint64_t milliseconds, int added) {
  if (milliseconds > kLastMillisecond) return fmt::format("{} ms", milliseconds);
  const seconds time = seconds(milliseconds / 1000) + hours(added);
  const days whole = std::chrono::floor<days>(time);
  const year_month_day day{sys_days(whole)};
  const auto rest = (time - whole).count();
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", static_cast<int>(day.year()),
                     static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                     rest / 3600, rest / 60 % 60, rest % 60);
}

}  // namespace groundstation
