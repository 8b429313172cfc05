// factory: the test station at the far end of the camera module's serial line.
#include <fcntl.h>
#include <fmt/format.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/bytes.h"
#include "base/clock.h"
#include "groundstation/commands/registry.h"
#include "groundstation/flightside/factory_station.h"

namespace groundstation {
namespace {

constexpr const char* kFactoryName = "factory";
constexpr const char* kFactoryDevice = "/dev/ttyUSB0";
// The module takes what one of its reads gets for one command.
constexpr uint64_t kFactoryPauseUs = 300'000;
constexpr std::array kFactoryUsual{"uart_test", "sdcard_test", "snap_test", "record_test"};

constexpr const char* kFactoryHelp = R"(
The module runs factorytest with a card that holds KRVMEDIA/testmode.conf; the line is 115200 8N1.
Without TEST the four tests that reply are run. The photo and the recording test empty their folders
on the card first. wifi_start_1 leaves the radio transmitting: the module has to be switched off
after it. The tests without a reply pass when the module answers a uart_test behind them; what the
radio sends is for another instrument to judge.

  groundstation factory --device /dev/ttyUSB0 --mac 02:4b:9c:de:f0:01
)";

struct FactoryRequest {
  std::string device = kFactoryDevice;
  std::string mac;
  std::vector<std::string> tests;
};

class FactoryRun {
 public:
  FactoryRun(Session& session, const FactoryRequest& request)
      : session_(session), request_(request) {}
  ExitCode run();

 private:
  enum class Step { kThrough, kInterrupted, kLineLost };

  [[nodiscard]] std::string open();
  Wait pass(uint64_t until_us, int fd = -1) {
    return session_.link.wait(
        until_us, [](const CameraEvent&) { return false; }, fd);
  }
  // Reads what is there. False when the line is gone.
  bool receive(FactoryCheck* check);
  Step drain();
  Step send_and_check(const FactoryTest& test, FactoryCheck* check, double limit_s);
  Step run_test(const std::string& name);
  Step run_tests();
  [[nodiscard]] ExitCode told(Step end) const;

  Session& session_;
  const FactoryRequest& request_;
  base::Descriptor line_;
  FactoryReplies replies_;
  std::vector<FactoryRow> rows_;
  std::string mac_;
  bool heard_ = false;
};

std::string FactoryRun::open() {
  const std::string& device = request_.device;
  line_.reset(::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!line_.open()) return fmt::format("cannot open {}: {}", device, std::strerror(errno));
  termios settings{};
  if (::tcgetattr(line_.get(), &settings) != 0) {
    return fmt::format("{} is no serial line", device);
  }
  ::cfmakeraw(&settings);
  settings.c_cflag |= CLOCAL | CREAD;
  settings.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
  ::cfsetspeed(&settings, B115200);
  if (::tcsetattr(line_.get(), TCSANOW, &settings) != 0) {
    return fmt::format("cannot set up {}: {}", device, std::strerror(errno));
  }
  return "";
}

bool FactoryRun::receive(FactoryCheck* check) {
  std::array<uint8_t, 4096> bytes;
  const ssize_t length = ::read(line_.get(), bytes.data(), bytes.size());
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (length <= 0) return false;
  replies_.feed({bytes.data(), static_cast<size_t>(length)}, [&](const std::string& reply) {
    heard_ = true;
    session_.out.event(fmt::format("  < {}", reply), {{"event", "reply"}, {"text", reply}});
    if (check != nullptr) check->take(reply, base::monotonic_us());
  });
  return true;
}

// The pause in front of a command; what still comes then is no answer to it.
FactoryRun::Step FactoryRun::drain() {
  const uint64_t until = base::monotonic_us() + kFactoryPauseUs;
  while (true) {
    const Wait wait = pass(until, line_.get());
    if (wait == Wait::kInterrupted) return Step::kInterrupted;
    if (wait != Wait::kExtra) return Step::kThrough;
    if (!receive(nullptr)) return Step::kLineLost;
  }
}

FactoryRun::Step FactoryRun::send_and_check(const FactoryTest& test, FactoryCheck* check,
                                            double limit_s) {
  const std::string_view command = test.command;
  session_.out.event(fmt::format("  > {}", command), {{"event", "command"}, {"text", command}});
  // In one piece and without a line end.
  const ssize_t written = ::write(line_.get(), command.data(), command.size());
  if (written != static_cast<ssize_t>(command.size())) return Step::kLineLost;
  const uint64_t until = base::monotonic_us() + base::saturate<uint64_t>(limit_s * 1e6);
  while (!check->settled()) {
    const Wait wait = pass(until, line_.get());
    if (wait == Wait::kInterrupted) return Step::kInterrupted;
    if (wait != Wait::kExtra) return Step::kThrough;
    if (!receive(check)) return Step::kLineLost;
  }
  return Step::kThrough;
}

FactoryRun::Step FactoryRun::run_test(const std::string& name) {
  const FactoryTest& test = *find_factory_test(name);
  const double limit = session_.timeout_s > 0 ? session_.timeout_s : test.limit_s;
  Step step = drain();
  if (step != Step::kThrough) return step;
  const uint64_t begin = base::monotonic_us();
  FactoryCheck check(test, request_.mac, begin);
  step = send_and_check(test, &check, limit);
  if (step != Step::kThrough) return step;
  FactoryRow row{name, check.passed(), 0, check.trouble()};
  if (!check.mac().empty()) mac_ = check.mac();
  if (row.passed && !check.mac().empty()) row.told = check.mac();
  if (test.replies.empty()) {
    const FactoryTest& life = *find_factory_test(kFactorySignOfLife);
    step = drain();
    if (step != Step::kThrough) return step;
    FactoryCheck sign(life, "", base::monotonic_us());
    step = send_and_check(life, &sign, limit);
    if (step != Step::kThrough) return step;
    row.passed = sign.passed();
    row.told = row.passed ? "no reply is due; the module goes on answering"
                          : "the module does not answer any more";
  }
  row.seconds = static_cast<double>(base::monotonic_us() - begin) / 1e6;
  rows_.push_back(row);
  return Step::kThrough;
}

FactoryRun::Step FactoryRun::run_tests() {
  std::vector<std::string> tests = request_.tests;
  if (tests.empty()) tests.assign(kFactoryUsual.begin(), kFactoryUsual.end());
  for (const std::string& name : tests) {
    const Step step = run_test(name);
    if (step != Step::kThrough) return step;
  }
  return Step::kThrough;
}

ExitCode FactoryRun::told(Step end) const {
  const Output& out = session_.out;
  nlohmann::json list = nlohmann::json::array();
  for (const FactoryRow& row : rows_) {
    list.push_back(
        {{"test", row.test}, {"passed", row.passed}, {"seconds", row.seconds}, {"told", row.told}});
  }
  const nlohmann::json fields{{"device", request_.device}, {"mac", mac_}, {"tests", list}};
  if (end == Step::kInterrupted) {
    return out.fail(kFactoryName, ExitCode::kInterrupted, "interrupted", fields);
  }
  if (end == Step::kLineLost) {
    return out.fail(kFactoryName, ExitCode::kNoCamera,
                    fmt::format("the line {} is gone", request_.device), fields);
  }
  if (!rows_.empty()) out.note(factory_sheet(rows_));
  if (!heard_) {
    return out.fail(kFactoryName, ExitCode::kNoCamera,
                    fmt::format("nothing comes from {}. Check the wires, and that the module runs "
                                "factorytest with a card that holds KRVMEDIA/testmode.conf.",
                                request_.device),
                    fields);
  }
  const auto failed =
      std::count_if(rows_.begin(), rows_.end(), [](const FactoryRow& row) { return !row.passed; });
  if (failed > 0) {
    return out.fail(kFactoryName, ExitCode::kRefused,
                    fmt::format("FAIL: {} of {} tests", failed, rows_.size()), fields);
  }
  return out.done(kFactoryName, fmt::format("PASS: {} tests", rows_.size()), fields);
}

ExitCode FactoryRun::run() {
  if (const std::string trouble = open(); !trouble.empty()) {
    return session_.out.fail(kFactoryName, ExitCode::kNoCamera, trouble);
  }
  return told(run_tests());
}

std::string factory_help() {
  std::string text = "\nTests:\n";
  for (const FactoryTest& test : factory_tests()) {
    text += fmt::format("  {:<14}{}\n", test.command, test.about);
  }
  return text + kFactoryHelp;
}

}  // namespace

void add_factory_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = flight_side_command<FactoryRequest>(
      app, "factory", "Test a camera module over its serial line. Prints a pass/fail sheet.",
      factory_help());
  std::vector<std::string> names;
  for (const FactoryTest& test : factory_tests()) names.emplace_back(test.command);
  takes_word(command->add_option("TEST", request->tests, "The tests to run, in this order"), names);
  command->add_option("--device", request->device, "The station's end of the serial line")
      ->type_name(kFileValue)
      ->capture_default_str();
  command->add_option("--mac", request->mac, "The MAC address that the module has to tell")
      ->check([](const std::string& text) {
        return is_mac_text(text) ? std::string() : fmt::format("{} is no MAC address", text);
      });
  run_with(command, request, chosen, [](Session& session, const FactoryRequest& with) {
    return FactoryRun(session, with).run();
  });
}

}  // namespace groundstation
