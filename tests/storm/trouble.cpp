#include "storm/trouble.h"

#include <csignal>
#include <nlohmann/json.hpp>

#include "storm/control_sockets.h"

namespace storm {

using namespace support;  // NOLINT

namespace {

constexpr int kLongestPauseMs = 220;

}  // namespace

Trouble::Trouble(Board& board, uint64_t seed, uint64_t round) : board_(board) {
  std::seed_seq numbers{seed, seed >> 32, round};
  random_.seed(numbers);
  salt_ = static_cast<uint32_t>(random_());
}

size_t Trouble::below(size_t limit) { return static_cast<size_t>(random_() % limit); }

int Trouble::between(int low, int high) {
  return low + static_cast<int>(below(static_cast<size_t>(high - low + 1)));
}

bool Trouble::one_in(int times) { return between(1, times) == 1; }

Bytes Trouble::noise(size_t size) {
  Bytes bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
  return bytes;
}

void Trouble::send(const Frame& frame) { board_.peer().send_bytes(encode(frame)); }

void Trouble::ask_camera(const CommandLong& command) { send(command_long(command)); }

// A service that stalls takes no command.
void Trouble::service(const std::string& line) {
  if (stalled_) service_stall();
  note("service: " + line);
  ask_service(line);
}

void Trouble::play(int strokes) {
  struct Weighted {
    Stroke stroke;
    size_t weight;
  };
  static constexpr Weighted kStrokes[] = {
      {&Trouble::camera_action, 10},
      {&Trouble::digicam, 6},
      {&Trouble::setting, 10},
      {&Trouble::timelapse, 2},
      {&Trouble::recording, 6},
      {&Trouble::photo, 10},
      {&Trouble::clock, 2},
      {&Trouble::small_message, 5},
      {&Trouble::media_message, 2},
      {&Trouble::format, 1},
      {&Trouble::list, 4},
      {&Trouble::download, 5},
      {&Trouble::playback, 5},
      {&Trouble::other_media, 4},
      {&Trouble::remove_file, 2},
      {&Trouble::firmware, 5},
      {&Trouble::garbage, 4},
      {&Trouble::bent_frames, 4},
      {&Trouble::oversize, 2},
      {&Trouble::tcp_flood, 2},
      {&Trouble::app_session, 2},
      {&Trouble::service_fault, 8},
      {&Trouble::service_noise, 4},
      {&Trouble::service_gone, 4},
      {&Trouble::service_stall, 3},
      {&Trouble::card, 6},
      {&Trouble::card_read_only, 3},
      {&Trouble::encoder, 7},
      {&Trouble::encoder_failure, 3},
      {&Trouble::radio_loss, 4},
      {&Trouble::radio_down, 2},
      {&Trouble::kill_program, 3},
  };
  size_t sum = 0;
  for (const Weighted& row : kStrokes) sum += row.weight;
  for (int i = 0; i < strokes && board_.program_runs(); i++) {
    size_t drawn = below(sum);
    const Weighted* row = kStrokes;
    for (; drawn >= row->weight; row++) drawn -= row->weight;
    (this->*row->stroke)();
    let_pass(milliseconds(between(0, kLongestPauseMs)));
  }
}

void Trouble::warm_up() {
  for (const int action : {2, 3, 4}) {
    board_.ready(seconds(60));
    ask_camera({.command = 2, .param1 = static_cast<float>(action)});
    let_pass(milliseconds(action == 3 ? 3000 : 500));
  }
  poll_until([] { return !list_folder(kVideos).empty(); }, seconds(30));
  board_.media().list(false);
  const std::string name = some_file(false);
  board_.media().ask(media_channel::kThumbnail, media_channel::kDownload, name, "0");
  board_.media().wait_for("THUMB", seconds(30));
  for (const uint8_t operation : {media_channel::kPlay, media_channel::kDownload}) {
    board_.media().mark();
    board_.media().ask(media_channel::kVideo, operation, name, "0");
    board_.media().wait_for("TRANSCOMPLETE:", seconds(30));
  }
}

void Trouble::end() {
  note("trouble ends");
  apps_.clear();
  board_.peer().keep_alive(2);
  run_command(
      {"sh", "-c", "iptables -t mangle -F; on-peer iptables -t mangle -F; ip link set wlan0 up"});
  if (stalled_ && board_.service_pid() > 0) kill(board_.service_pid(), SIGCONT);
  board_.start_service();
  ask_service("clear");
  ask_service("photo-exif ok");
  ask_service("slice 10000");
  end_card();
  end_encoder();
  board_.media().send(message(67, {0, 0, 0, 0}));
  if (board_.owes_answers && !one_in(12)) {
    // The program would wait a minute for what it is owed; now and then it has to.
    note("service: drop");
    ask_service("drop");
    board_.owes_answers = false;
  }
  board_.ready(seconds(board_.owes_answers ? 140 : 60));
  end_format();
  end_firmware();
}

// A format that failed leaves a card without one; the client has to ask for another.
void Trouble::end_format() {
  const auto formatted = [this] {
    const nlohmann::json state = board_.service_state();
    return !state.contains("card") || state["card"]["formatted"] == true;
  };
  for (int tries = 0; tries < 10 && !formatted(); tries++) {
    note("format again");
    ask_camera({.command = 180, .target_component = 1});
    ask_camera({.command = 2, .param1 = 4});  // not while it records
    let_pass(milliseconds(300));
  }
}

// Failures that nobody has met yet are called off by starts that meet them: the encoder says only
// once that it starts. A track that has ended alone begins again when the whole stream does.
void Trouble::end_encoder() {
  for (const char* line : {"unblock", "active", "rate 30", "create-delay 0", "resume"}) {
    tell_encoder(line);
  }
  const auto any = [](const Datagram&) { return true; };
  for (int tries = 0; tries < 8; tries++) {
    if (tries % 2 == 1) {
      tell_encoder("stop");
      let_pass(milliseconds(200));
    }
    tell_encoder("start");
    board_.peer().keep_alive(2);
    send(stream_on(true));
    if (board_.video().wait_for(any, milliseconds(400), board_.video().count())) return;
  }
}

void Trouble::kill_program() {
  // Often in the middle of a photo that is being written or tagged.
  if (one_in(2)) {
    note("action 1");
    ask_camera({.command = 2, .param1 = 1});
    let_pass(milliseconds(between(0, 900)));
  }
  board_.kill_program();
  firmware_.reset();
  firmware_started_ = false;
  let_pass(milliseconds(between(0, 300)));
  board_.start_program();
  if (one_in(2)) board_.ready(seconds(8));
}

}  // namespace storm
