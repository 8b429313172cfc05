// Photos, recordings and time-lapse sequences.
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/clock.h"
#include "camera_service/camera.h"
#include "camera_service/jpeg.h"
#include "camera_service/say.h"

namespace camera_service {
namespace {

constexpr int kStartRecord = 513;
constexpr int kStopRecord = 514;
constexpr int kTakePhoto = 769;
constexpr int64_t kPhotoKb = 8 * 1024;
constexpr int64_t kVideoKb = 16 * 1024;

// The path in an answer: the camera's own, with the name that the file had while it was written.
std::string camera_path(const MediaName& name, const char* suffix) {
  return "C:\\DCIM\\" + name.working(suffix);
}

MediaName name_now(const std::string& folder) {
  return new_media_name(folder, static_cast<std::time_t>(base::wall_clock_us() / 1'000'000));
}

// The shutter time "1/12.5" is 10/125 s.
void expose_as_set(ExifFields& fields, const Settings& settings) {
  std::string divisor = settings.get("shutter_time").substr(2);
  fields.exposure_numerator = 1;
  if (const size_t point = divisor.find('.'); point != std::string::npos) {
    divisor.erase(point, 1);
    fields.exposure_numerator = 10;
  }
  fields.exposure_denominator = static_cast<uint32_t>(whole_number(divisor).value_or(1));
  const int iso = whole_number(settings.get("fix_iso_value")).value_or(0);
  fields.iso = static_cast<uint16_t>(iso > 0 && iso <= UINT16_MAX ? iso : 100);
}

}  // namespace

void Camera::take_photo(int msg_id, const Json& /*request*/) {
  if (video_mode_ || photo_busy_) {
    reply(msg_id, kWrongState);
    return;
  }
  if (const Rval refused = room_for(kPhotoKb); refused != kDone) {
    reply(msg_id, refused);
    return;
  }
  const MediaName name = name_now(card_.pictures());
  photo_busy_ = true;
  photo_answer_due_ = true;
  Studio::Job job;
  job.working_path = card_.pictures() + "/" + name.working(".JPG");
  job.complete_path = card_.pictures() + "/" + name.complete(".JPG");
  job.number = photos_ + 1;
  job.caption = fmt::format("PHOTO {:04} {}", job.number, name.stamp);
  job.mode = exif_mode;
  job.fields = exif_fields;
  job.fields.time = name.exif_time;
  expose_as_set(job.fields, settings_);
  studio_.take(std::move(job), [this, name](PhotoResult result) {
    loop_.post([this, name, result] { photo_taken(name, result); });
  });
}

void Camera::photo_taken(const MediaName& name, PhotoResult result) {
  photo_busy_ = false;
  const bool answer = std::exchange(photo_answer_due_, false);
  if (result == PhotoResult::kOk) {
    photos_++;
    last_photo_ = name.complete(".JPG");
    // Nobody has been told of the file yet, so this is the picture as it was written.
    say("photo {} picture {:016x}", last_photo_,
        picture_checksum(card_.pictures() + "/" + last_photo_));
    if (answer) reply(kTakePhoto, kDone, {{"param", camera_path(name, ".JPG")}});
    return;
  }
  say("photo {} failed", name.stamp);
  if (result == PhotoResult::kNoSpace) outbound_.notify(kCardFull, "SD_NO_SPACE");
  if (!answer) return;
  const Rval failure = result == PhotoResult::kNoSpace ? kNoSpace : kRefused;
  reply(kTakePhoto, card_.present() ? failure : kNoCard);
}

void Camera::start_record(int msg_id, const Json& /*request*/) {
  if (!video_mode_ || recorder_ || sequence_stopping_) {
    reply(msg_id, kWrongState);
    return;
  }
  if (const Rval refused = room_for(kVideoKb); refused != kDone) {
    reply(msg_id, refused);
    return;
  }
  video_name_ = name_now(card_.videos());
  start_answer_due_ = true;
  slice_ended_ = false;
  Recorder::Events events;
  events.started = [this](bool created) {
    loop_.post([this, created] { record_started(created); });
  };
  events.finished = [this](RecordResult result) {
    loop_.post([this, result] { record_finished(result); });
  };
  recorder_ = std::make_unique<Recorder>(card_.videos() + "/" + video_name_.working(".MP4"),
                                         std::move(events));
}

void Camera::record_started(bool created) {
  const bool answer = std::exchange(start_answer_due_, false);
  if (created) {
    recording_ = true;
    say("recording {}", video_name_.working(".MP4"));
    if (interval_set()) slice_timer_ = loop_.after_ms(slice_ms, [this] { end_slice(); });
    if (answer) reply(kStartRecord, kDone);
    return;
  }
  recorder_.reset();
  std::error_code ignored;
  std::filesystem::remove(card_.videos() + "/" + video_name_.working(".MP4"), ignored);
  say("recording {} failed", video_name_.stamp);
  if (answer) reply(kStartRecord, card_.present() ? kRefused : kNoCard);
  if (std::exchange(stop_answer_due_, false)) reply(kStopRecord, kWrongState);
  if (ended_) ended_();
}

void Camera::stop_record(int msg_id, const Json& /*request*/) {
  if (!recorder_ && sequence_running_) {  // between two slices
    sequence_stopping_ = true;
    reply(msg_id, kDone);
    outbound_.notify(kRecordComplete, {});
    return;
  }
  if (!recorder_ || stop_answer_due_) {
    reply(msg_id, kWrongState);
    return;
  }
  sequence_stopping_ = sequence_running_;
  stop_answer_due_ = true;
  slice_ended_ = false;
  recorder_->stop();
}

void Camera::end_slice() {
  slice_timer_ = 0;
  if (!recorder_ || stop_answer_due_) return;
  slice_ended_ = true;
  recorder_->stop();
}

void Camera::record_finished(RecordResult result) {
  recorder_.reset();
  recording_ = false;
  loop_.cancel(std::exchange(slice_timer_, 0));
  const std::string folder = card_.videos() + "/";
  std::error_code error;
  if (result != RecordResult::kFailed) {
    std::filesystem::rename(folder + video_name_.working(".MP4"),
                            folder + video_name_.complete(".MP4"), error);
  }
  const bool complete = result != RecordResult::kFailed && !error;
  if (complete) {
    videos_++;
    last_video_ = video_name_.complete(".MP4");
    std::error_code unread;
    const auto bytes = std::filesystem::file_size(folder + last_video_, unread);
    say("video {} of {} bytes", last_video_, unread ? 0 : bytes);
  }
  say("recording {} {}", video_name_.stamp, complete ? "complete" : "lost");
  if (std::exchange(stop_answer_due_, false)) answer_stop(video_name_, complete);
  if (result == RecordResult::kNoSpace && card_.present())
    outbound_.notify(kCardFull, "SD_NO_SPACE");
  if (!complete && card_.present()) outbound_.notify(kCardError, "SD_ERROR");
  if (std::exchange(slice_ended_, false)) {
    outbound_.notify(kSliceComplete, {});
    if (interval_set() && !sequence_paused_) outbound_.notify(kNextSlice, {});
  } else if (sequence_running_ && !sequence_stopping_) {
    end_sequence_early();
  } else if (complete) {
    outbound_.notify(kRecordComplete, {});
  }
  if (ended_) ended_();
}

void Camera::answer_stop(const MediaName& name, bool complete) {
  if (complete) {
    reply(kStopRecord, kDone, {{"param", camera_path(name, ".MP4")}});
  } else {
    reply(kStopRecord, card_.present() ? kRefused : kNoCard);
  }
}

bool Camera::interval_set() const { return settings_.get("time_lapse_interval") != "OFF"; }

// A sequence that runs already is asked to go on: its client may have gone and come back.
void Camera::interval_changed() {
  const bool ran = std::exchange(sequence_running_, interval_set());
  sequence_paused_ = false;
  sequence_stopping_ = false;
  if (sequence_running_) {
    outbound_.notify(kNextSlice, {});
  } else if (ran) {
    if (recorder_) recorder_->stop();
    outbound_.notify(kSequenceEnded, {});
  }
}

// A slice cannot go on, so no other one follows.
void Camera::end_sequence_early() {
  [[maybe_unused]] const bool off = settings_.set("time_lapse_interval", "OFF");
  interval_changed();
}

bool Camera::end_sequence_by_hand() {
  if (!sequence_running_) return false;
  end_sequence_early();
  return true;
}

void Camera::start_sequence(int msg_id, const Json& /*request*/) {
  if (!interval_set() || recorder_) {
    reply(msg_id, kWrongState);
    return;
  }
  reply(msg_id, kDone);
  interval_changed();
}

void Camera::pause_sequence(int msg_id, const Json& /*request*/) {
  if (!sequence_running_) {
    reply(msg_id, kWrongState);
    return;
  }
  sequence_paused_ = !sequence_paused_;
  reply(msg_id, kDone);
  if (!sequence_paused_ && !recorder_) outbound_.notify(kNextSlice, {});
}

void Camera::end_sequence(int msg_id, const Json& /*request*/) {
  if (!sequence_running_) {
    reply(msg_id, kWrongState);
    return;
  }
  reply(msg_id, kDone);
  end_sequence_early();
}

}  // namespace camera_service
