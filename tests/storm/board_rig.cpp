#include "storm/board_rig.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "storm/control_sockets.h"

namespace storm {

namespace fs = std::filesystem;

namespace {

constexpr const char* kCard = "/tmp/SD0";
constexpr const char* kClockNotes = "/tmp/clock.log";
constexpr size_t kKeptEvents = 60;

// The old image is as long as one that could be half overwritten.
constexpr size_t kOldFirmwareSize = 120'000;

void empty_the_board() {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(kCard, ignored)) fs::remove_all(entry.path());
  for (const char* left : {"/pref/cam.conf", "/tmp/macset.txt", kClockNotes}) {
    fs::remove(left, ignored);
  }
}

support::Environment with_clock(support::Environment environment) {
  for (auto& [name, value] : support::noting_clock(kClockNotes)) {
    bool joined = false;
    for (auto& [given, more] : environment) {
      if (given != name) continue;
      joined = true;
      if (name == "LD_PRELOAD") more = value + " " + more;
    }
    if (!joined) environment.emplace_back(name, value);
  }
  return environment;
}

void kill_process(support::ChildProcess& process) {
  process.signal(SIGKILL);
  process.wait_for_end(seconds(5));
}

std::string log_of_killed(const support::ChildProcess& process) {
  return process.output() + "=== killed\n";
}

}  // namespace

Board::Board(BoardOptions options) : options_(std::move(options)) {
  options_.environment = with_clock(options_.environment);
  empty_the_board();
  old_firmware.assign(kOldFirmwareSize, 'o');
  support::write_file("/tmp/SD0/AmbaSysFW.bin", old_firmware);
  support::write_file("/tmp/SD0/holiday.txt", kHoliday);
  renew_sockets();
  peer_->keep_alive(2);
  start_service();
  files_ = files_outside_the_card();
  start_program();
  story_.mode_agreed();
}

Board::~Board() = default;

void Board::renew_sockets() {
  peer_.reset();
  video_.reset();
  media_.reset();
  peer_ = std::make_unique<support::PeerLink>();
  video_ = std::make_unique<support::PeerSocket>(8856);
  media_ = std::make_unique<media_channel::Application>();
}

void Board::start_program() {
  if (program_) return;
  story();
  story_.program_started();
  // Closed before the program starts, which would have it as well.
  std::istringstream conf(support::read_file("/pref/cam.conf"));
  for (std::string line; std::getline(conf, line);) {
    const size_t sign = line.find('=');
    if (sign == std::string::npos) continue;
    const std::string name = line.substr(0, sign);
    story_.may_show(name == "colstyle" ? "color_style" : "scene_white_balance",
                    std::atoi(line.c_str() + sign + 1));
  }
  note("program starts");
  program_ = std::make_unique<support::RunningMaintask>("", options_.environment,
                                                        options_.program.c_str());
  footprint_.reset();
}

void Board::kill_program() {
  if (!program_) return;
  kill_process(program_->process());
  note("program killed");
  program_log_ += log_of_killed(program_->process());
  program_.reset();
}

void Board::start_service() {
  if (service_) return;
  note("service starts");
  service_ = std::make_unique<support::RunningCameraService>();
  service_lines_ = 0;
  story_.service_started();
}

void Board::kill_service() {
  if (!service_) return;
  kill_process(service_->process());
  note("service killed");
  story();
  service_log_ += log_of_killed(service_->process());
  service_.reset();
}

Story& Board::story() {
  if (service_) {
    const auto lines = service_->process().lines();
    for (; service_lines_ < lines.size(); service_lines_++) story_.line(lines[service_lines_]);
  }
  return story_;
}

std::optional<support::Frame> Board::status(milliseconds limit) {
  return peer_->wait_for_status([](const support::Frame&) { return true; }, limit, peer_->mark());
}

std::optional<support::Frame> Board::heartbeat(milliseconds limit) {
  return peer_->wait_for(
      [](const support::Frame& frame) { return frame.id == 0 && frame.system == 37; }, limit,
      peer_->mark());
}

nlohmann::json Board::service_state() {
  const std::string answer = ask_service("state");
  const auto state = nlohmann::json::parse(answer.substr(0, answer.find('\n')), nullptr, false);
  return state.is_object() ? state : nlohmann::json::object();
}

bool Board::ready(milliseconds limit) {
  const auto any = [](const support::Datagram&) { return true; };
  const bool up = support::poll_until(
      [&] {
        if (!program_runs()) return true;
        peer_->keep_alive(2);
        peer_->send_bytes(support::encode(support::stream_on(true)));
        if (!video_->wait_for(any, milliseconds(300), video_->count())) return false;
        const auto record = status(milliseconds(500));
        if (record && record->f32(8) > 0 && service_state().value("connected", false)) return true;
        peer_->send_bytes(support::encode(support::message(56, {0})));  // the card's size, please
        return false;
      },
      limit);
  if (!up || !program_runs()) return false;
  if (!footprint_) {
    // Helper threads of the start come and go, among them the one that reads the settings' file.
    support::poll_until(
        [&] {
          footprint_ = footprint_of(program_pid());
          support::let_pass(milliseconds(200));
          const auto again = footprint_of(program_pid());
          return footprint_ && again && difference(*footprint_, *again).empty() &&
                 !again->descriptors.contains("/pref/cam.conf");
        },
        seconds(5));
  }
  return true;
}

void Board::note(const std::string& event) {
  const auto since = std::chrono::duration<double>(support::Clock::now() - began_).count();
  std::ostringstream line;
  line.precision(3);
  line << std::fixed << since << " s  " << event;
  events_.push_back(line.str());
}

std::string Board::events() const {
  std::string text;
  const size_t from = events_.size() > kKeptEvents ? events_.size() - kKeptEvents : 0;
  for (size_t i = from; i < events_.size(); i++) text += "  " + events_[i] + "\n";
  return text;
}

void Board::keep_logs(const std::string& folder) {
  const auto keep = [&folder](const char* name, const std::string& text) {
    support::write_file(folder + "/" + name, text);
  };
  keep("program.log", program_log_ + (program_ ? program_->process().output() : ""));
  keep("service.log", service_log_ + (service_ ? service_->process().output() : ""));
  std::string all;
  for (const std::string& event : events_) all += event + "\n";
  keep("events.txt", all);
  std::string card;
  std::error_code ignored;
  for (const auto& entry : fs::recursive_directory_iterator(kCard, ignored)) {
    std::error_code gone;
    card += entry.path().string() + " " +
            std::to_string(entry.is_regular_file(gone) ? fs::file_size(entry.path(), gone) : 0) +
            "\n";
  }
  keep("card.txt", card);
  std::string frames;
  for (const support::Datagram& datagram : peer_->socket().received()) {
    frames += support::hex(datagram.bytes) + "\n";
  }
  keep("from_program.txt", frames);
}

}  // namespace storm
