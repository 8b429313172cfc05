// Any messages of the peer, the application and the other boards, through the dispatch: settings and
// actions, clock, positions, logs, media files, and firmware both ways, with the thread that receives
// an image, in whose pauses the next messages arrive.
//
// Each step is one byte (Step) and what it needs. What leaves is whole; a shell command holds nothing
// of a message but a safe name; and a firmware image in its file is what the chunks said.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "camera/connection.h"
#include "camera/settings_table.h"
#include "config/korvanprofile.h"
#include "fake_base/fake_base.h"
#include "flightlink/actions/dispatch.h"
#include "flightlink/firmware/boards.h"
#include "flightlink/firmware/push.h"
#include "flightlink/firmware/receive.h"
#include "flightlink/firmware/wire.h"
#include "flightlink/frame/messages.h"
#include "flightlink/links/app_link.h"
#include "fuzz/aircraft.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/data_log.h"
#include "supervisor/state/switches.h"

namespace {

using namespace flightlink;  // NOLINT

enum Step : uint8_t {
  kPeerMessage,  // a message (take_message), here and in the next one
  kAppMessage,
  kImages,   // which boards have an image on the card; that of the first one is read
  kSetting,  // a setting's confirmed value: setting, value
  kFlags,    // what the camera is doing
  kAnswers,  // the camera has answered whatever was asked
  kLost,     // no connection to the camera service
  kSteps,
};

constexpr const char* kCard = "/tmp/SD0/";
constexpr const char* kMd5 = "0123456789abcdef0123456789abcdef";
constexpr uint8_t kBoards[] = {kBoardGimbal, kBoardFlightController, kBoardRepeater};
constexpr uint32_t kLargestImage = 100000;

struct EndOfInput {};

fuzz::Input* steps = nullptr;
std::vector<uint8_t> image;  // as announced and sent; empty: none
bool started = false;        // from here on an announcement is refused

uint32_t announced_size() {
  const base::Lock lock(firmware_receive.lock);
  return firmware_receive.size;
}

// What the message means for the image, by the words of the protocol.
void note_firmware(const MavlinkMessage& message, bool carried_out) {
  if (message.msgid == kCommandLong.id && carried_out && !started) {
    image.assign(announced_size(), 0);
  }
  if (message.msgid != kFirmwareTransfer.id || firmware_board_type() != kBoardCamera) return;
  const Payload payload(message);
  if (payload.bytes[0] != kOpcodeChunk) return;
  const size_t at = size_t{load_chunk_index(payload.bytes + 3)} * kChunkSize;
  if (at >= image.size()) return;
  const size_t size = payload.bytes[1] < 4 ? 0 : payload.bytes[1] - 4U;
  std::copy_n(payload.bytes + 7, std::min({size, kChunkSize, image.size() - at}),
              image.begin() + static_cast<ptrdiff_t>(at));
}

bool is_announcement(const MavlinkMessage& message) {
  const CommandLong command = read_command_long(Payload(message));
  return message.msgid == kCommandLong.id && command.command == kCommandFirmware &&
         command.target_system == kFirmwareAnnounced && message.sysid >> 4 == kBoardApplication &&
         firmware_board_type() == kBoardCamera;
}

// Room for hundreds of megabytes would cost the search its speed, and show nothing else.
void make_small(MavlinkMessage* announcement) {
  const float size = base::load_f32le(announcement->payload);
  if (announcement->len < 4 ||
      !(size > static_cast<float>(kLargestImage) && size <= static_cast<float>(kFirmwareMaxSize)))
    return;
  base::store_f32le(announcement->payload, std::fmod(size, static_cast<float>(kLargestImage)));
  fuzz::seal(*announcement);
}

void take_message(bool of_peer) {
  MavlinkMessage message = fuzz::take_message(*steps);
  const bool announcement = is_announcement(message);
  if (announcement) make_small(&message);
  if (!of_peer && (message.sysid & 15) == 5) {
    app_link_route(&message);
    return;
  }
  const int result = of_peer ? peer_dispatch(&message) : common_dispatch(&message);
  const bool relevant = announcement || message.msgid == kFirmwareTransfer.id;
  if (relevant) note_firmware(message, result == 0);
}

void put_images(uint8_t mask) {
  static uint8_t there = 0;
  if (mask == 0 && there == 0) return firmware_init();
  there = mask;
  for (size_t i = 0; i < std::size(kBoards); i++) {
    const char* path = firmware_image_path(kBoards[i]);
    if ((mask >> i & 1) != 0) {
      std::ofstream(path) << std::string(500 + 100 * i, 'i');
    } else {
      unlink(path);
    }
  }
  firmware_init();
  if (firmware_board_type() != kBoardCamera) firmware_image_prepare(firmware_board_type());
}

void set_flags(uint8_t bits) {
  supervisor::set_recording(bits & 1);
  supervisor::set_photo_pending(bits >> 1 & 1);
  supervisor::set_setting_pending(bits >> 2 & 1);
  supervisor::set_mode_switch_pending(bits >> 3 & 1);
  supervisor::set_clock_set_ok(bits >> 4 & 1);
  supervisor::set_video_flowing((bits >> 5 & 1) == 0);
  supervisor::switches.test_mode.store(bits >> 6 & 1);
}

void take_step() {
  switch (static_cast<Step>(steps->byte() % kSteps)) {
    case kPeerMessage:
      return take_message(true);
    case kAppMessage:
      return take_message(false);
    case kImages:
      return put_images(steps->byte());
    case kSetting: {
      const auto setting = static_cast<camera::Setting>(steps->byte() % camera::kSettingCount);
      return camera::confirm(setting, steps->byte());
    }
    case kFlags:
      return set_flags(steps->byte());
    case kAnswers:
      camera::cam_clear_op_state();
      camera::forget_unanswered();
      return set_flags(0);
    default:
      return fuzz::disconnect_camera();
  }
}

void check_image() {
  std::ifstream file(kFirmwareFile, std::ios::binary);
  const std::vector<uint8_t> written{std::istreambuf_iterator<char>(file), {}};
  fuzz::check(written == image, "another image in the file");
}

// The receiver's body, whose pauses take the rest of the input.
void receive() {
  started = true;
  fuzz::on_pause([] {
    if (steps->empty()) throw EndOfInput{};
    take_step();
  });
  try {
    FirmwareReceiveThread(nullptr);
  } catch (const EndOfInput&) {
  }
  fuzz::on_pause([] {});
}

bool prepare() {
  fuzz::require_board();
  for (const char* folder : {"KRVMEDIA", "KRVMEDIA/PIC", "KRVMEDIA/VIDEO", "KRVMEDIA/THUMB"}) {
    std::filesystem::create_directory(std::string(kCard) + folder);
  }
  std::ofstream(std::string(kCard) + "KRVMEDIA/VIDEO/there.MP4") << "video";
  return config::CclInit() == 0;
}

void reset() {
  fuzz::reset_aircraft();
  firmware_receive.reset();
  firmware_push.reset();
  put_images(0);
  image.clear();
  started = false;
  fuzz::on_command([](const std::string& command) {
    if (command == "sync") check_image();
    if (command.starts_with("/bin/md5sum")) fake_base::push_shell_line(kMd5);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const bool prepared = prepare();
  fuzz::check(prepared, "preparation");
  reset();
  fuzz::Input input(bytes, size);
  steps = &input;
  while (!input.empty()) {
    take_step();
    if (!started && firmware_receive.in_progress) receive();
  }
  supervisor::data_log_close_all();
  return 0;
}
