// The camera behind the command protocol: its mode, settings, recording, photos and card, and what
// each command does to them. Loop thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "camera_service/card.h"
#include "camera_service/exif_block.h"
#include "camera_service/loop.h"
#include "camera_service/media_name.h"
#include "camera_service/recorder.h"
#include "camera_service/settings.h"
#include "camera_service/studio.h"

namespace camera_service {

using Json = nlohmann::ordered_json;

// The command that sets a setting.
inline constexpr int kSetSetting = 2;

// "rval" of an answer.
enum Rval : int {
  kDone = 0,
  kRefused = -1,  // unknown command or type, card of unknown format, or it just failed
  kNoCard = -2,
  kNoSpace = -3,
  kBadToken = -4,
  kBadValue = -5,    // the setting does not take this value
  kWrongState = -6,  // not in this mode or with these settings, or busy, or nothing to stop
};

// "notify_id" of a notification. Those of the card carry their text as "param".
enum Notice : int {
  kRecordComplete = 0,
  kCardInserted = 1,  // SD_CARD_INSERTED
  kCardRemoved = 2,   // SD_CARD_REMOVED
  kCardFull = 4,      // SD_NO_SPACE
  kCardError = 6,     // SD_ERROR, SD_FORMAT_UNKNOWN
  kCardSpeed = 8,     // SD_SPEED_CHECKING, SD_SPEED_OK, SD_SPEED_LOW
  kCardFormat = 9,    // SD_FORMAT_EXFAT, SD_FORMAT_FAT32
  kNextSlice = 11,    // of a time-lapse: the client starts the next recording
  kSliceComplete = 12,
  kSequenceEnded = 13,
};

class Camera {
 public:
  struct Outbound {
    // Every command is answered once, now or later. `more` holds "param" and "type" where they
    // belong.
    std::function<void(int msg_id, int rval, Json more)> reply;
    std::function<void(int notify_id, const std::string& param)> notify;
  };

  Camera(Loop& loop, Card& card, Outbound outbound);

  // Carries out a command: `request` is an object that holds this "msg_id".
  void handle(int msg_id, const Json& request);
  // The token is void, and answers that are still to come have nobody to go to. A recording goes
  // on.
  void client_gone();

  // What happens to the card by hand. Each sends the notification that belongs to it and ends a
  // recording that cannot go on; false when it could not be done.
  [[nodiscard]] bool take_card_out();
  [[nodiscard]] bool put_card_in();
  [[nodiscard]] bool fill_card(int64_t kb);
  void unformat_card();
  // Tells what has been found out about the card: "checking", "speed-ok", "slow" (which ends a
  // recording), "error", "exfat" or "fat32". False for another word.
  [[nodiscard]] bool report_card(std::string_view finding);

  // Changes the mode without a command. False, and nothing changes, while it takes a picture or
  // records.
  [[nodiscard]] bool turn_to_mode(bool video);

  // Ends a time-lapse as a setting of its interval to OFF does. False when none runs.
  [[nodiscard]] bool end_sequence_by_hand();

  // Everything that is set, as one object.
  [[nodiscard]] Json state() const;
  // Ends a recording, then calls `ended`.
  void end(Loop::Task ended);

  // How the next photos look inside, and how long a slice of a time-lapse is.
  ExifMode exif_mode = ExifMode::kOk;
  ExifFields exif_fields;
  uint64_t slice_ms = 10'000;

 private:
  using Handler = void (Camera::*)(int msg_id, const Json& request);
  struct Command {
    int msg_id;
    Handler handler;
  };
  static const Command kCommands[];

  void reply(int msg_id, int rval, Json more = Json::object());

  void start_session(int msg_id, const Json& request);
  void accept(int msg_id, const Json& request);
  void get_setting(int msg_id, const Json& request);
  void set_setting(int msg_id, const Json& request);
  void set_stream_rate(int msg_id, const Json& request);
  void reset_preview(int msg_id, const Json& request);
  void stop_preview(int msg_id, const Json& request);
  void switch_mode(int msg_id, const Json& request);

  void format_card(int msg_id, const Json& request);
  void query_card(int msg_id, const Json& request);
  void query_space(int msg_id, const Json& request);
  [[nodiscard]] Rval room_for(int64_t kb);

  void start_record(int msg_id, const Json& request);
  void stop_record(int msg_id, const Json& request);
  void record_started(bool created);
  void record_finished(RecordResult result);
  void answer_stop(const MediaName& name, bool complete);
  void end_slice();
  void take_photo(int msg_id, const Json& request);
  void photo_taken(const MediaName& name, PhotoResult result);
  void start_sequence(int msg_id, const Json& request);
  void pause_sequence(int msg_id, const Json& request);
  void end_sequence(int msg_id, const Json& request);
  void interval_changed();
  void end_sequence_early();
  [[nodiscard]] bool interval_set() const;
  [[nodiscard]] bool fits_now(const std::string& type, const std::string& value) const;

  Loop& loop_;
  Card& card_;
  Outbound outbound_;
  Settings settings_;
  int token_ = 0;  // 0: no session
  int sessions_ = 0;
  int stream_rate_ = 2048;
  bool video_mode_ = false;
  bool preview_ = true;

  bool photo_busy_ = false;
  bool photo_answer_due_ = false;
  int photos_ = 0;
  std::string last_photo_;

  bool recording_ = false;  // from the answer to the start to the end of the file
  bool start_answer_due_ = false;
  bool stop_answer_due_ = false;
  bool slice_ended_ = false;
  bool sequence_running_ = false;
  bool sequence_paused_ = false;
  bool sequence_stopping_ = false;  // its recording was stopped: no further slice
  uint64_t slice_timer_ = 0;
  int videos_ = 0;
  std::string last_video_;
  MediaName video_name_;
  Loop::Task ended_;

  Studio studio_;
  std::unique_ptr<Recorder> recorder_;  // not null while a file is being written
};

// A member that is a text, or an empty one.
[[nodiscard]] std::string text_member(const Json& object, const char* name);

}  // namespace camera_service
