#include "support/fixtures.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>
#include <utility>

namespace support {
namespace {

#if defined(__aarch64__)
constexpr const char* kMachine = "aarch64";
#else
constexpr const char* kMachine = "x86_64";
#endif

std::vector<std::string> with_program(const char* program, const std::vector<std::string>& rest) {
  std::vector<std::string> command{std::string(BIN_DIR "/") + program};
  command.insert(command.end(), rest.begin(), rest.end());
  return command;
}

Environment with_sanitizer_options(Environment extra) {
  for (auto& option : sanitizer_options()) extra.push_back(std::move(option));
  return extra;
}

Environment maintask_environment(const std::string& fifo_script, const Environment& extra) {
  constexpr const char* kScript = "/tmp/fifo.script";
  write_file(kScript, fifo_script);
  Environment environment = with_sanitizer_options(extra);
  environment.emplace_back("AMBANETFIFO_SCRIPT", kScript);
  environment.emplace_back("AMBANETFIFO_CONTROL", RunningMaintask::kFifoControl);
  environment.emplace_back("AMBANETFIFO_LOG", RunningMaintask::kFifoLog);
  return environment;
}

std::string prepare_session(CameraFake& camera, const std::string& fifo_script) {
  camera.answer_session();
  return fifo_script;
}

}  // namespace

Environment sanitizer_options() {
  return {{"ASAN_OPTIONS", "detect_leaks=0:handle_segv=0:handle_abort=0"},
          {"UBSAN_OPTIONS", "print_stacktrace=1"},
          {"TSAN_OPTIONS", "handle_segv=0:exitcode=66"}};
}

std::string preload_path(const std::string& library, const std::string& folder) {
  namespace fs = std::filesystem;
  const std::string name = fs::path(library).filename();
  const auto link = [&](const std::string& machine, const std::string& target) {
    const std::string machines = folder + "/lib/" + machine + "-linux-gnu/";
    fs::create_directories(machines);
    fs::remove(machines + name);
    fs::create_symlink(target, machines + name);
  };
  link(kMachine, library);
  // A library without anything in it.
  const std::string nothing = "/lib/x86_64-linux-gnu/libdl.so.2";
  if (kMachine != std::string_view("x86_64") && fs::exists(nothing)) link("x86_64", nothing);
  return folder + "/$LIB/" + name;
}

// A sanitizer wants to be loaded before anything else; it can do without.
Environment noting_clock(const std::string& notes) {
  return {{"LD_PRELOAD", preload_path(LIB_DIR "/libclockshim.so", "/tmp/preload")},
          {"CLOCKSHIM_LOG", notes},
          {"ASAN_OPTIONS", sanitizer_options()[0].second + ":verify_asan_link_order=0"}};
}

RunningMaintask::RunningMaintask(const std::string& fifo_script, const Environment& extra,
                                 const char* program)
    : process_(with_program(program, {}), maintask_environment(fifo_script, extra)) {}

RunningMaintask::~RunningMaintask() {
  if (runs()) {
    process_.signal(SIGKILL);
    process_.wait_for_end(seconds(5));
  }
  const std::string output = process_.output();
  for (const std::string_view finding : {"ERROR: AddressSanitizer", "WARNING: ThreadSanitizer",
                                         ": runtime error:", "ThreadSanitizer:DEADLYSIGNAL"}) {
    if (output.find(finding) == std::string::npos) continue;
    ADD_FAILURE() << "a sanitizer found something:\n" << output;
    return;
  }
}

void RunningMaintask::fifo(const std::vector<std::string>& words) {
  std::vector<std::string> arguments{kFifoControl};
  arguments.insert(arguments.end(), words.begin(), words.end());
  const CommandResult result =
      run_command(with_program("fifo_control", arguments), seconds(20), sanitizer_options());
  EXPECT_EQ(result.status, 0) << words.front() << ": " << result.output;
}

size_t RunningMaintask::fifo_log_count(std::string_view text) {
  const std::string log = read_file(kFifoLog);
  size_t count = 0;
  for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) count++;
  return count;
}

RunningCameraService::RunningCameraService()
    : process_(with_program("camera_service", {}), sanitizer_options()) {
  EXPECT_TRUE(process_.wait_for_line("camera_service ready", seconds(20))) << process_.output();
}

std::string RunningCameraService::control(const std::vector<std::string>& words) {
  std::vector<std::string> arguments{"ctl"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  const CommandResult result =
      run_command(with_program("camera_service", arguments), seconds(20), sanitizer_options());
  EXPECT_EQ(result.status, 0) << words.front() << ": " << result.output;
  return result.output;
}

ScriptedBoard::ScriptedBoard(const std::string& fifo_script)
    : maintask(prepare_session(camera, fifo_script)) {
  reset();
}

void ScriptedBoard::reset() {
  camera.forget_answers();
  camera.answer_session();
  EXPECT_TRUE(wait_for_live_video(peer, video)) << maintask.process().output();
  // Any status but the first two lets an insertion be asked about; the answers make the client
  // idle.
  const size_t texts = camera.mark();
  bool asked = false;
  for (int tries = 0; !asked && tries < 10; tries++) {
    camera.send(
        R"({"notify_id":1,"param":"SD_SPEED_OK"}{"notify_id":1,"param":"SD_CARD_INSERTED"})");
    asked = camera.wait_for(R"("type":"free"})", seconds(1), texts).has_value();
  }
  EXPECT_TRUE(asked) << maintask.process().output();
  let_pass(milliseconds(50) * kSlowdown);  // until the last answer has been read
  EXPECT_TRUE(peer.wait_for_status([](const Frame& frame) { return frame.f32(12) == 4096.0F; },
                                   seconds(5), peer.mark()));
  peer.keep_alive(0);
}

bool ScriptedBoard::probe(milliseconds limit) {
  camera.answer("\"msg_id\":16,", R"({"rval":0,"msg_id":16})");
  const size_t texts = camera.mark();
  peer.send(probe_frame());
  const bool arrived = camera.wait_for("\"msg_id\":16,", limit, texts).has_value();
  // Until the answer has confirmed the rate. A probe that failed may have asked for the confirmed
  // rate, when an answer was lost with its connection: the next one asks for the other.
  if (arrived) let_pass(milliseconds(20) * kSlowdown);
  return arrived;
}

Frame ScriptedBoard::probe_frame() {
  probe_low_ = !probe_low_;
  return command_long({.command = 2, .param1 = 9, .param2 = probe_low_ ? 2.0F : 100.0F});
}

bool wait_for_live_video(PeerLink& peer, PeerSocket& video) {
  const size_t from = video.count();
  peer.keep_alive(2);
  // Repeated, since nobody may listen yet.
  for (int tries = 0; tries < 40; tries++) {
    peer.send(stream_on(true));
    if (video.wait_for([](const Datagram&) { return true; }, milliseconds(500), from)) return true;
  }
  return false;
}

}  // namespace support
