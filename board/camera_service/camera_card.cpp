// What commands and hands do to the card.
#include "camera_service/camera.h"
#include "camera_service/say.h"

namespace camera_service {
namespace {

// Below this a card counts as full for a recording: room for its first second and the reserve.
constexpr int64_t kFullKb = 16 * 1024;

}  // namespace

Rval Camera::room_for(int64_t kb) {
  if (!card_.present()) return kNoCard;
  if (!card_.formatted()) return kRefused;
  if (card_.free_kb() >= kb) return kDone;
  outbound_.notify(kCardFull, "SD_NO_SPACE");
  return kNoSpace;
}

void Camera::format_card(int msg_id, const Json& request) {
  if (!card_.present()) {
    reply(msg_id, kNoCard);
    return;
  }
  if (recorder_ || photo_busy_) {
    reply(msg_id, kWrongState);
    return;
  }
  if (text_member(request, "param") != "C") {
    reply(msg_id, kBadValue);
    return;
  }
  const bool was_unknown = !card_.formatted();
  const bool formatted = card_.format();
  say("card {}", formatted ? "formatted" : "cannot be formatted");
  reply(msg_id, formatted ? kDone : kRefused);
  if (formatted && was_unknown) {
    // The check that the client waits for before it asks for the sizes again.
    outbound_.notify(kCardSpeed, "SD_SPEED_CHECKING");
    outbound_.notify(kCardSpeed, "SD_SPEED_OK");
  }
}

void Camera::query_card(int msg_id, const Json& /*request*/) {
  if (!card_.present()) {
    reply(msg_id, kNoCard);
  } else {
    reply(msg_id, card_.formatted() ? kDone : kRefused);
  }
}

void Camera::query_space(int msg_id, const Json& request) {
  const std::string type = text_member(request, "type");
  if (type != "total" && type != "free") {
    reply(msg_id, kRefused);
  } else if (!card_.usable()) {
    reply(msg_id, card_.present() ? kRefused : kNoCard);
  } else {
    reply(msg_id, kDone,
          {{"type", type}, {"param", type == "total" ? card_.total_kb() : card_.free_kb()}});
  }
}

bool Camera::take_card_out() {
  if (recorder_) recorder_->stop();
  if (!card_.take_out()) return false;
  say("card taken out");
  outbound_.notify(kCardRemoved, "SD_CARD_REMOVED");
  return true;
}

bool Camera::put_card_in() {
  if (!card_.put_in()) return false;
  say("card put in");
  outbound_.notify(kCardInserted, "SD_CARD_INSERTED");
  return true;
}

bool Camera::fill_card(int64_t kb) {
  const bool filled = card_.fill(kb);
  if (!card_.present() || card_.free_kb() >= kFullKb) return filled;
  if (recorder_) recorder_->stop();
  say("card full, {} KB free{}", card_.free_kb(), card_.pretends() ? " (pretended)" : "");
  outbound_.notify(kCardFull, "SD_NO_SPACE");
  return filled;
}

bool Camera::report_card(std::string_view finding) {
  struct Finding {
    std::string_view word;
    Notice notice;
    const char* text;
  };
  static constexpr Finding kFindings[] = {
      {"checking", kCardSpeed, "SD_SPEED_CHECKING"}, {"speed-ok", kCardSpeed, "SD_SPEED_OK"},
      {"slow", kCardSpeed, "SD_SPEED_LOW"},          {"error", kCardError, "SD_ERROR"},
      {"exfat", kCardFormat, "SD_FORMAT_EXFAT"},     {"fat32", kCardFormat, "SD_FORMAT_FAT32"},
  };
  for (const Finding& row : kFindings) {
    if (row.word != finding) continue;
    if (finding == "slow" && recorder_) recorder_->stop();
    outbound_.notify(row.notice, row.text);
    return true;
  }
  return false;
}

void Camera::unformat_card() {
  if (recorder_) recorder_->stop();
  card_.unformat();
  say("card has an unknown format");
  outbound_.notify(kCardError, "SD_FORMAT_UNKNOWN");
}

}  // namespace camera_service
