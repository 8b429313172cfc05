// Random trouble for a board, all of it drawn from one generator, so that the same seed makes the
// same trouble. (Which packet a lossy radio drops is the kernel's own draw, and what meets what is
// the scheduler's.)
#pragma once

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "storm/board_rig.h"
#include "system/firmware_sender.h"

namespace storm {

class Trouble {
 public:
  Trouble(Board& board, uint64_t seed, uint64_t round);

  // No trouble at all: everything once that needs much memory.
  void warm_up();
  // So many strokes of it, one after the other. Returns early when the program has ended.
  void play(int strokes);
  // Ends all of it: everything works again. What a client left running it also ends.
  void end();

  [[nodiscard]] uint32_t salt() const { return salt_; }

 private:
  using Stroke = void (Trouble::*)();

  // 0 to below the limit; `low` to `high`, both included; true once in so many.
  size_t below(size_t limit);
  int between(int low, int high);
  bool one_in(int times);
  template <size_t Size>
  const char* pick(const char* const (&words)[Size]) {
    return words[below(Size)];
  }
  support::Bytes noise(size_t size);
  void note(const std::string& event) { board_.note(event); }
  void send(const support::Frame& frame);
  void ask_camera(const support::CommandLong& command);
  void service(const std::string& line);

  // Commands of every kind.
  void camera_action();
  void digicam();
  void setting();
  void timelapse();
  void recording();
  void photo();
  void clock();
  void small_message();
  void media_message();
  void format();
  // The media channel.
  void list();
  void download();
  void playback();
  void other_media();
  void remove_file();
  // Firmware.
  void firmware();
  // What is no command.
  void garbage();
  void bent_frames();
  void oversize();
  void tcp_flood();
  void app_session();
  // The service, the card, the encoder, the radio, the program itself.
  void service_fault();
  void service_noise();
  void service_gone();
  void service_stall();
  void card();
  void card_read_only();
  void encoder();
  void encoder_failure();
  void radio_loss();
  void radio_down();
  void kill_program();

  std::string some_file(bool photo);
  void connect_app();
  void end_card();
  void end_encoder();
  void end_format();
  void end_firmware();

  Board& board_;
  std::mt19937_64 random_;
  uint32_t salt_;
  std::unique_ptr<support::FirmwareSender> firmware_;
  bool firmware_started_ = false;
  bool stalled_ = false;
  bool read_only_ = false;
  std::vector<base::Descriptor> apps_;
};

}  // namespace storm
