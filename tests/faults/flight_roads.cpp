// What the peer brings: telemetry for the logs, firmware for this board; and firmware for another.
#include <filesystem>

#include "faults/road.h"
#include "storm/promises.h"
#include "system/firmware_sender.h"
#include "system/pushed_board.h"

namespace faults_test {
namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

const std::string kInPlace = kCard + "AmbaSysFW.bin";
const std::string kPushed = kCard + "gimbalfw";

std::string log_path(const std::string& log, int number) {
  return kCard + log + "DataLog" + std::to_string(number) + ".txt";
}

// The card as an earlier flight has left it: log 0 of each is written, and has its number.
void leave_logs(Rig&) {
  for (const std::string log : {"Gimbal", "Flyctl"}) {
    for (int number = 1; number < 5; number++) fs::remove(log_path(log, number));
    write_file(log_path(log, 0), "the log of an earlier flight\n");
    write_file(kCard + log + "ID", "0\n");
  }
}

bool logs(Rig& rig) {
  for (const uint8_t id : {uint8_t{105}, uint8_t{107}}) {
    for (const uint8_t time : {uint8_t{1}, uint8_t{2}}) {
      Bytes payload(id == 105 ? 62 : 64);
      payload[0] = time;
      rig.peer().send(message(id, payload));
    }
  }
  return rig.waits([] {
    return read_file(log_path("Gimbal", 1)).find("\n2,0.00000") != std::string::npos &&
           read_file(log_path("Flyctl", 1)).find("\n2,0.000") != std::string::npos;
  });
}

std::string old_logs_are_there(Rig&) {
  for (const std::string log : {"Gimbal", "Flyctl"}) {
    const std::string path = log_path(log, 0);
    if (read_file(path) != "the log of an earlier flight\n") return path + " was overwritten";
  }
  return "";
}

Bytes new_image() { return firmware_image(1500); }

bool own_firmware(Rig& rig) {
  FirmwareSender sender(rig.peer(), new_image());
  if (sender.announce() != 0) return false;
  sender.start();
  if (sender.serve(seconds(3)) != 0) return false;
  return rig.waits([&] { return read_file(kInPlace) == sender.content(); });
}

void leave_image(Rig& rig) {
  const Bytes image = new_image();
  rig.board().new_firmware.assign(image.begin(), image.end());
  write_file(kInPlace, rig.board().old_firmware);
  fs::remove(kCard + "firmware");
  fs::remove(kCard + "fwstep");
}

bool push(Rig& rig) {
  rig.peer().keep_alive(0);
  PushedBoard board(rig.peer(), 7);
  const Bytes image = new_image();
  const bool came = board.receive(seconds(4)) == image;
  rig.note(came ? "the board has its image" : "the board has no image");
  return came;
}

// Up to the first heartbeat of the peer, which begins the push.
bool begin_push(Rig& rig) {
  rig.start(true);
  const bool begun = rig.hears([](const Frame& frame) { return frame.id == 76; }, 0);
  rig.note(begun ? "a push may begin" : "no status record");
  return begun;
}

void leave_pushed(Rig&) {
  const Bytes image = new_image();
  write_file(kPushed, std::string(image.begin(), image.end()));
}

}  // namespace

std::vector<Road> flight_roads() {
  Road logs_road{"logs", logs};
  logs_road.prepare_card = leave_logs;
  logs_road.check = old_logs_are_there;
  logs_road.fresh = true;
  Road firmware{"firmware", own_firmware};
  firmware.prepare_card = leave_image;
  firmware.check = [](Rig& rig) { return storm::keeps_firmware_whole(rig.board()); };
  firmware.fresh = true;
  Road push_road{"push", push};
  push_road.prepare_card = leave_pushed;
  push_road.begin = begin_push;
  push_road.tidy = [](Rig&) { fs::remove(kPushed); };
  push_road.silent = true;
  push_road.check = [](Rig&) {
    const Bytes image = new_image();
    const bool same = read_file(kPushed) == std::string(image.begin(), image.end());
    return same ? std::string() : kPushed + " changed";
  };
  push_road.fresh = true;
  return {logs_road, firmware, push_road};
}

}  // namespace faults_test
