// The start, and what goes through the camera service: session, photo, recording, settings, clock.
#include <algorithm>
#include <filesystem>
#include <optional>
#include <sstream>

#include "faults/road.h"
#include "storm/control_sockets.h"
#include "storm/promises.h"

namespace faults_test {
namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

constexpr uint8_t kClock = 255;  // no setting has this number
constexpr const char* kColours = "/pref/cam.conf";

std::string service_log() { return storm::ask_service("log"); }

// Ends the connection to the camera service, and waits for the session that follows.
bool renew_session(Rig& rig) {
  storm::ask_service("log clear");
  storm::ask_service("drop");
  const bool asked = rig.waits([] {
    const std::string log = service_log();
    return log.find("\"free\"") != std::string::npos;
  });
  rig.note(asked ? "a new session" : "no new session");
  return asked;
}

bool photo(Rig& rig) {
  rig.peer().send(raw_position(-337654321, 1512345678));
  rig.peer().send(altitude(87.65F));
  const size_t mark = rig.peer().mark();
  rig.peer().send(command_long({.command = 203, .param5 = 0, .param6 = 12, .param7 = 1}));
  if (!rig.hears_ack(2001, 0, mark) || !rig.hears_report(1, mark)) return false;
  const auto photos = list_folder(kPictures);
  return photos.size() == 2 && std::ranges::any_of(photos, [](const std::string& name) {
           return name.ends_with("_PR12.JPG");
         });
}

// Every photo is whole; that each of them is there is a promise.
std::string photos_are_whole(Rig&) {
  for (const std::string& name : list_folder(kPictures)) {
    // The service's and the program's names while they write.
    if (name == kKeptPhoto || name.starts_with(".") || name.ends_with("AA.JPG")) continue;
    const CommandResult judged = run_command({"jpeginfo", "-c", kPictures + name});
    // One that is being tagged gets its new name meanwhile.
    if (!file_exists(kPictures + name)) continue;
    if (judged.status != 0 || judged.output.find("OK") == std::string::npos) {
      return "not a whole photo: " + judged.output;
    }
  }
  return "";
}

bool recording(Rig& rig) {
  size_t mark = rig.peer().mark();
  rig.peer().send(command_long({.command = 203, .param7 = 3}));
  if (!rig.hears_ack(2500, 0, mark) || !rig.hears_report(3, mark)) return false;
  let_pass(milliseconds(300));
  mark = rig.peer().mark();
  rig.peer().send(command_long({.command = 203, .param7 = 2}));
  return rig.hears_ack(2501, 0, mark) && list_folder(kVideos).size() == 2;
}

// Whatever state the last play has left: recording or not, photo or video mode.
void end_recording(Rig& rig) {
  const std::string why = storm::comes_to_rest(rig.board());
  rig.peer().keep_alive(0);
  rig.note(why.empty() ? "at rest" : why);
  rig.clear_videos();
}

// Message 52 about one setting, or about the clock.
bool is_confirmed(Rig& rig, uint8_t subject, size_t mark) {
  std::optional<uint8_t> result;
  rig.hears(
      [&](const Frame& frame) {
        if (frame.id != 52 || frame.system != 36) return false;
        const bool clock = frame.u8(2) == 111;
        if (clock != (subject == kClock) || (!clock && frame.u8(1) != subject)) return false;
        result = frame.u8(clock ? 3 : 4);
        return true;
      },
      mark);
  rig.note("setting " + std::to_string(subject) + ": " +
           (result ? std::to_string(*result) : "no answer"));
  return result == 0;
}

// Each play asks for other values than the one before.
int turn = 0;

bool set(Rig& rig, uint8_t subject, int value) {
  const size_t mark = rig.peer().mark();
  rig.peer().send(command_long(
      {.command = 180, .param1 = static_cast<float>(value), .target_component = subject}));
  return is_confirmed(rig, subject, mark);
}

std::string colours_file(int colour, int balance) {
  return "colstyle=" + std::to_string(colour) + "\nwblance=" + std::to_string(balance) + "\n";
}

bool settings(Rig& rig) {
  turn++;
  const int value = 1 + turn % 2;
  if (!set(rig, 3, value) || !set(rig, 5, value) || !set(rig, 17, 10 + turn % 2)) return false;
  const bool kept = rig.waits([&] { return read_file(kColours) == colours_file(value, value); });
  rig.note("the file holds " + read_file(kColours));
  return kept;
}

// Whole lines with values that were asked for; the file is removed and written anew at each change.
std::string colours_are_whole(Rig&) {
  std::istringstream lines(read_file(kColours));
  for (std::string line; std::getline(lines, line);) {
    const bool known =
        line == "colstyle=1" || line == "colstyle=2" || line == "wblance=1" || line == "wblance=2";
    if (!known) return std::string(kColours) + " has the line " + line;
  }
  return "";
}

bool clock(Rig& rig) {
  rig.board().clocks.insert("2020-01-01 08:00:00");
  const size_t mark = rig.peer().mark();
  // 2020-01-01 00:00:00.999 UTC with an offset of 8 hours.
  rig.peer().send(
      message(111, {0xE7, 0xEB, 0x66, 0x5E, 0x6F, 0x01, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00}));
  if (!is_confirmed(rig, kClock, mark)) return false;
  const bool told =
      rig.waits([] { return service_log().find("\"2020-01-01 08:00:00\"") != std::string::npos; });
  rig.note(told ? "the service has the clock" : "the service does not have the clock");
  return told;
}

}  // namespace

std::vector<Road> start_roads() {
  Road start{"start-up", [](Rig& rig) { return rig.serves(seconds(20)); }};
  start.starts = true;
  return {start};
}

std::vector<Road> camera_roads() {
  Road session{"session", renew_session};
  Road photo_road{"photo", photo};
  photo_road.prepare = [](Rig& rig) { rig.clear_pictures(); };
  photo_road.check = photos_are_whole;
  Road record{"record", recording};
  record.prepare = end_recording;
  Road settings_road{"settings", settings};
  settings_road.prepare = [](Rig&) {
    // The file is read behind every new session; what is set meanwhile is not written.
    if (service_log().find("257") != std::string::npos) let_pass(milliseconds(1500));
    storm::ask_service("log clear");
  };
  settings_road.check = colours_are_whole;
  Road clock_road{"clock", clock};
  // A service that has confirmed a clock is not told another one.
  clock_road.prepare = [](Rig& rig) {
    renew_session(rig);
    storm::ask_service("log clear");
  };
  return {session, photo_road, record, settings_road, clock_road};
}

}  // namespace faults_test
