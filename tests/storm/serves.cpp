// The promise to serve: back in touch, at rest, a setting, the clock, a photo.
#include <cstring>
#include <ctime>
#include <functional>
#include <nlohmann/json.hpp>

#include "storm/control_sockets.h"
#include "storm/promises.h"

namespace storm {
namespace {

using namespace support;  // NOLINT

constexpr milliseconds kBackAgain = seconds(60);
// What an unanswered command may block before the program makes the connection anew.
constexpr milliseconds kAnswerLimit = seconds(140);

constexpr size_t kModeByte = 2;
constexpr uint8_t kRecordingBit = 4;

bool in_video_mode(const Frame& status) { return (status.u8(kModeByte) & 15) != 0; }

void ask_action(Board& board, int action) {
  board.peer().send_bytes(
      encode(command_long({.command = 2, .param1 = static_cast<float>(action)})));
}
void stop_timelapse(Board& board) {
  board.peer().send_bytes(encode(command_long({.command = 203, .param7 = 4})));
}

struct Rest {
  bool known = false;
  bool camera_records = false;
  bool camera_sequence = false;
  bool program_records = false;
  bool program_sequence = false;
  bool camera_video = false;
  bool program_video = false;

  [[nodiscard]] bool busy() const {
    return camera_records || camera_sequence || program_records || program_sequence;
  }
  [[nodiscard]] std::string text() const {
    if (!known) return "no status, no heartbeat, or no answer of the service";
    const auto word = [](bool on, const char* name) { return on ? std::string(name) + " " : ""; };
    return word(camera_records, "camera-records") + word(camera_sequence, "camera-time-lapse") +
           word(program_records, "program-records") + word(program_sequence, "program-time-lapse") +
           word(camera_video, "camera-in-video-mode") +
           word(program_video, "program-in-video-mode");
  }
};

// The modes alone; with `recording` also the heartbeat is awaited, which says that.
Rest look(Board& board, bool recording) {
  Rest rest;
  const auto heartbeat = recording ? board.heartbeat(seconds(2)) : std::optional<Frame>(Frame{});
  const auto status = board.status(seconds(2));
  const nlohmann::json state = board.service_state();
  if (!status || !heartbeat || !state.contains("mode")) return rest;
  rest.known = true;
  rest.camera_records = state["recording"];
  rest.camera_sequence = state["time_lapse"]["running"];
  rest.camera_video = state["mode"] == "video";
  rest.program_records = recording && (heartbeat->u8(7) & kRecordingBit) != 0;
  rest.program_sequence = status->u8(3) != 0;
  rest.program_video = in_video_mode(*status);
  return rest;
}

// Stops what runs, by the commands that an application has. A time-lapse that only the camera
// knows of is ended by hand.
std::string stop_all(Board& board) {
  Rest rest;
  const bool quiet = poll_until(
      [&] {
        rest = look(board, true);
        if (rest.known && !rest.busy()) return true;
        if (rest.camera_sequence && !rest.program_sequence) ask_service("end-sequence");
        if (rest.program_sequence) stop_timelapse(board);
        if (rest.camera_records || rest.program_records) ask_action(board, 4);
        let_pass(milliseconds(200));
        return false;
      },
      board.owes_answers ? kAnswerLimit : kBackAgain);
  return quiet ? "" : "cannot be stopped: " + rest.text();
}

// Both in photo mode.
std::string settle_mode(Board& board) {
  Rest rest;
  // A switch may be under way.
  poll_until(
      [&] {
        rest = look(board, false);
        return rest.camera_video == rest.program_video;
      },
      seconds(3));
  if (rest.camera_video != rest.program_video) {
    if (board.story().mode_known()) return "the modes differ: " + rest.text();
    board.note("modes brought together by hand");
    ask_service(rest.program_video ? "mode video" : "mode photo");
  }
  const bool set = poll_until(
      [&] {
        ask_action(board, 0);
        const auto status =
            board.peer().wait_for_status([](const Frame& f) { return !in_video_mode(f); },
                                         milliseconds(700), board.peer().mark());
        return status && board.service_state().value("mode", "") == "photo";
      },
      kBackAgain);
  if (!set) return "photo mode cannot be set: " + look(board, false).text();
  board.story().mode_agreed();
  return "";
}

std::string utc_text(int64_t when) {
  const time_t time = when;
  tm utc{};
  gmtime_r(&time, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
  return text;
}

// Asks until such an answer comes, waiting that long each time.
bool is_answered(Board& board, const std::function<void()>& ask,
                 const std::function<bool(const Frame&)>& answer, milliseconds pause,
                 milliseconds limit) {
  const size_t mark = board.peer().mark();
  return poll_until(
      [&] {
        ask();
        return board.peer().wait_for(answer, pause, mark).has_value();
      },
      limit);
}

}  // namespace

void send_clock(Board& board, int64_t when) {
  Bytes payload(12);  // the offset of the hour stays 0
  const uint64_t ms = static_cast<uint64_t>(when) * 1000;
  std::memcpy(payload.data(), &ms, sizeof ms);
  board.clocks.insert(utc_text(when));
  board.peer().send_bytes(encode(message(111, std::move(payload))));
}

std::string comes_back(Board& board) {
  if (board.ready(board.owes_answers ? kAnswerLimit : kBackAgain)) return "";
  const auto status = board.status(seconds(1));
  return std::string(board.heartbeat(seconds(2)) ? "heartbeat, " : "no heartbeat, ") +
         (status ? "status with " + std::to_string(status->f32(8)) + " MB" : "no status") +
         ", service connected: " +
         board.service_state().value("connected", nlohmann::json()).dump();
}

std::string comes_to_rest(Board& board) {
  if (std::string why = stop_all(board); !why.empty()) return why;
  return settle_mode(board);
}

std::string takes_a_setting(Board& board, uint32_t salt) {
  struct Choice {
    uint8_t sub;
    const char* type;
  };
  constexpr Choice kChoices[] = {{11, "saturation"}, {12, "contrast"}, {13, "sharpness"}};
  const Choice& choice = kChoices[salt % std::size(kChoices)];
  const auto value = static_cast<uint8_t>(1 + salt / 3 % 200);
  const bool confirmed = is_answered(
      board,
      [&] {
        board.peer().send_bytes(encode(command_long({.command = 180,
                                                     .param1 = static_cast<float>(value),
                                                     .target_component = choice.sub})));
      },
      [&](const Frame& f) {
        return f.id == 52 && f.u8(1) == choice.sub && f.u8(4) == 0 && f.u8(5) == value;
      },
      seconds(1), board.owes_answers ? kAnswerLimit : kBackAgain);
  const std::string what = std::string(choice.type) + " " + std::to_string(value);
  if (!confirmed) return what + " is not confirmed";
  const nlohmann::json state = board.service_state();
  if (state["settings"][choice.type] != std::to_string(value)) {
    return what + " is confirmed, but the service has " + state["settings"][choice.type].dump();
  }
  return shows_confirmed_settings(board);
}

std::string takes_the_clock(Board& board, uint32_t salt) {
  const int64_t when = 1'577'836'800 + salt % 100'000'000;
  const bool answered = is_answered(
      board, [&] { send_clock(board, when); },
      [](const Frame& f) { return f.id == 52 && f.u8(2) == 111 && f.u8(3) == 0; },
      milliseconds(500), kBackAgain);
  if (!answered) return "no answer";
  const nlohmann::json state = board.service_state();
  const std::string told = state["settings"]["camera_clock"];
  if (board.clocks.contains(told)) return "";
  return "the camera's clock is \"" + told + "\", which nobody asked for";
}

std::string takes_a_photo(Board& board, uint32_t salt, std::string* name) {
  const auto degrees = static_cast<uint32_t>(1 + salt % 80);
  board.peer().send_bytes(encode(raw_position(static_cast<int32_t>(degrees * 10'000'000), 0)));
  const size_t mark = board.peer().mark();
  const bool taken = is_answered(
      board, [&] { ask_action(board, 1); },
      [](const Frame& f) { return f.id == 77 && f.u16(0) == 2001 && f.u8(2) == 0; },
      milliseconds(1500), kBackAgain);
  if (!taken) return "no photo is acknowledged";
  if (!board.peer().wait_for_report(1, kBackAgain, mark)) return "no report of the photo";
  *name = board.service_state().value("last_photo", "");
  const std::string bytes = read_file(kPictures + *name);
  const uint32_t place[] = {degrees, 1, 0, 1, 0, 10};
  const std::string position(reinterpret_cast<const char*>(place), sizeof place);
  if (bytes.find("FALK2") == bytes.npos || bytes.find(position) == bytes.npos) {
    return *name + " of " + std::to_string(bytes.size()) + " bytes is not tagged";
  }
  return "";
}

std::string gives_the_photo(Board& board, const std::string& name) {
  const std::string file = read_file(kPictures + name);
  size_t got = 0;
  const bool same = poll_until(
      [&] {
        board.media().mark();
        board.media().ask(media_channel::kPhoto, media_channel::kDownload, name, "0");
        if (board.media().wait_for("TRANSCOMPLETE:" + name, seconds(5)).empty()) return false;
        const Bytes data = board.media().data(2);
        got = data.size();
        return std::string_view(reinterpret_cast<const char*>(data.data()), got) == file;
      },
      seconds(90));
  if (same) return "";
  return name + " has " + std::to_string(file.size()) + " bytes, the last download " +
         std::to_string(got);
}

}  // namespace storm
