#include "camera_service/camera.h"

#include <optional>
#include <utility>

#include "camera_service/interplay.h"
#include "camera_service/say.h"

namespace camera_service {

const Camera::Command Camera::kCommands[] = {
    {1, &Camera::get_setting},       {kSetSetting, &Camera::set_setting},
    {4, &Camera::format_card},       {5, &Camera::query_space},
    {16, &Camera::set_stream_rate},  {257, &Camera::start_session},
    {259, &Camera::reset_preview},   {260, &Camera::stop_preview},
    {513, &Camera::start_record},    {514, &Camera::stop_record},
    {769, &Camera::take_photo},      {772, &Camera::switch_mode},
    {773, &Camera::accept},          {2561, &Camera::accept},
    {2817, &Camera::accept},         {4097, &Camera::query_card},
    {4098, &Camera::start_sequence}, {4099, &Camera::pause_sequence},
    {4100, &Camera::end_sequence},   {8194, &Camera::accept},
};

namespace {

constexpr int kSessionRequest = 257;

// A whole number that fits, or nothing.
std::optional<int> int_member(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_number_integer()) return std::nullopt;
  const auto wide = found->get<int64_t>();
  if (!std::in_range<int>(wide)) return std::nullopt;
  return static_cast<int>(wide);
}

}  // namespace

std::string text_member(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

Camera::Camera(Loop& loop, Card& card, Outbound outbound)
    : loop_(loop), card_(card), outbound_(std::move(outbound)) {}

void Camera::reply(int msg_id, int rval, Json more) {
  outbound_.reply(msg_id, rval, std::move(more));
}

void Camera::handle(int msg_id, const Json& request) {
  const bool has_session = token_ != 0 && int_member(request, "token") == token_;
  if (msg_id != kSessionRequest && !has_session) {
    reply(msg_id, kBadToken);
    return;
  }
  for (const Command& command : kCommands) {
    if (command.msg_id != msg_id) continue;
    (this->*command.handler)(msg_id, request);
    return;
  }
  say("command {} is unknown", msg_id);
  reply(msg_id, kRefused);
}

void Camera::client_gone() {
  token_ = 0;
  photo_answer_due_ = false;
  start_answer_due_ = false;
  stop_answer_due_ = false;
}

void Camera::start_session(int msg_id, const Json& /*request*/) {
  token_ = ++sessions_;
  say("session {} begins", token_);
  reply(msg_id, kDone, {{"param", token_}});
}

void Camera::accept(int msg_id, const Json& /*request*/) { reply(msg_id, kDone); }

void Camera::get_setting(int msg_id, const Json& request) {
  const std::string type = text_member(request, "type");
  if (!Settings::known(type)) {
    reply(msg_id, kRefused);
    return;
  }
  reply(msg_id, kDone, {{"type", type}, {"param", settings_.get(type)}});
}

void Camera::set_setting(int msg_id, const Json& request) {
  const std::string type = text_member(request, "type");
  if (!Settings::known(type)) {
    reply(msg_id, kRefused);
    return;
  }
  const std::string value = text_member(request, "param");
  if (Settings::takes(type, value) && !fits_now(type, value)) {
    say("{} cannot be {} now", type, value);
    reply(msg_id, kWrongState, {{"type", type}});
    return;
  }
  if (!settings_.set(type, value)) {
    say("{} does not take \"{}\"", type, value);
    reply(msg_id, kBadValue, {{"type", type}});
    return;
  }
  say("{} is now {}", type, value);
  reply(msg_id, kDone, {{"type", type}});
  // The defaults bring the picture back by themselves.
  if (type == "default_setting") preview_ = true;
  if (type == "time_lapse_interval" || type == "default_setting") interval_changed();
}

bool Camera::fits_now(const std::string& type, const std::string& value) const {
  if (recorder_ && (type == "video_resolution" || type == "default_setting")) return false;
  if (type == "video_resolution" && (!video_mode_ || preview_)) return false;
  if (type == "time_lapse_interval" && value != "OFF" && (!video_mode_ || recorder_)) return false;
  return allowed_together(settings_, type, value);
}

void Camera::set_stream_rate(int msg_id, const Json& request) {
  const auto rate = whole_number(text_member(request, "param"));
  if (!rate || *rate <= 0) {
    reply(msg_id, kBadValue);
    return;
  }
  stream_rate_ = *rate;
  say("stream rate is now {} kbit/s", stream_rate_);
  reply(msg_id, kDone);
}

void Camera::reset_preview(int msg_id, const Json& /*request*/) {
  preview_ = true;
  say("preview is on");
  reply(msg_id, kDone);
}

void Camera::stop_preview(int msg_id, const Json& /*request*/) {
  if (recorder_) {
    reply(msg_id, kWrongState);
    return;
  }
  preview_ = false;
  say("preview is off");
  reply(msg_id, kDone);
}

void Camera::switch_mode(int msg_id, const Json& /*request*/) {
  if (recorder_ || photo_busy_) {
    reply(msg_id, kWrongState);
    return;
  }
  video_mode_ = !video_mode_;
  say("{} mode", video_mode_ ? "video" : "photo");
  reply(msg_id, kDone);
}

bool Camera::turn_to_mode(bool video) {
  if (recorder_ || photo_busy_) return false;
  video_mode_ = video;
  say("{} mode, by hand", video_mode_ ? "video" : "photo");
  return true;
}

Json Camera::state() const {
  Json settings = Json::object();
  for (const auto& [type, value] : settings_.all()) settings[type] = value;
  return {{"mode", video_mode_ ? "video" : "photo"},
          {"preview", preview_},
          {"recording", recording_},
          {"token", token_},
          {"sessions", sessions_},
          {"stream_rate", stream_rate_},
          {"photos", photos_},
          {"last_photo", last_photo_},
          {"videos", videos_},
          {"last_video", last_video_},
          {"time_lapse", {{"running", sequence_running_}, {"paused", sequence_paused_}}},
          {"card",
           {{"present", card_.present()},
            {"formatted", card_.formatted()},
            {"pretends_full", card_.pretends()},
            {"total_kb", card_.total_kb()},
            {"free_kb", card_.free_kb()}}},
          {"settings", settings}};
}

void Camera::end(Loop::Task ended) {
  if (!recorder_) {
    ended();
    return;
  }
  ended_ = std::move(ended);
  recorder_->stop();
}

}  // namespace camera_service
