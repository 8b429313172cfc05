// What the application asks the media channel for.
#include <filesystem>

#include "faults/road.h"
#include "system/photo_files.h"

namespace faults_test {
namespace {

using namespace support;  // NOLINT
using media_channel::kPhoto;
using media_channel::kThumbnail;
using media_channel::kVideo;
namespace fs = std::filesystem;

const std::string kVideoThumbnail = std::string(kThumbnails) + "20200101_120000AB_v.JPG";
const std::string kPhotoThumbnail = std::string(kThumbnails) + "20200101_120000AB_p.JPG";
const std::string kDoomedThumbnail = std::string(kThumbnails) + "20200202_120000AB_p.JPG";
constexpr const char* kDoomed = "20200202_120000AB.JPG";

bool list_of(Rig& rig, bool photos) {
  const size_t count = list_folder(photos ? kPictures : kVideos).size();
  auto& application = rig.application();
  application.mark();
  application.list(photos);
  const bool came = rig.waits([&] { return application.listed().size() >= count; }, seconds(5));
  auto names = application.listed();
  std::ranges::sort(names);
  rig.note("listed " + std::to_string(names.size()) + " of " + std::to_string(count));
  return came && names == list_folder(photos ? kPictures : kVideos);
}

bool lists(Rig& rig) { return list_of(rig, true) && list_of(rig, false); }

bool is_told(Rig& rig, const std::string& text) {
  std::string said;
  const bool told = rig.waits([&] {
    said = rig.application().wait_for(text, milliseconds(0));
    return !said.empty();
  });
  rig.note(text + (told ? " came" : " did not come"));
  return told;
}

bool is_sent(Rig& rig, uint8_t kind, const std::string& name, const std::string& path) {
  auto& application = rig.application();
  application.mark();
  application.ask(kind, media_channel::kDownload, name, "0");
  if (!is_told(rig, "TRANSCOMPLETE:" + name)) return false;
  const Bytes came = application.data(2);
  const bool same = came == media_channel::read_all(path);
  rig.note(same ? "the same bytes" : "other bytes: " + std::to_string(came.size()));
  return same;
}

bool download(Rig& rig) {
  return is_sent(rig, kPhoto, kKeptPhoto, kPictures + std::string(kKeptPhoto));
}

bool make_thumbnail(Rig& rig, const std::string& name, const std::string& path) {
  rig.application().mark();
  rig.application().ask(kThumbnail, media_channel::kDownload, name, "0");
  if (!is_told(rig, "THUMBREADY:" + name)) return false;
  return is_sent(rig, kThumbnail, name, path);
}

bool thumbnail(Rig& rig) {
  return make_thumbnail(rig, kKeptVideo, kVideoThumbnail) &&
         make_thumbnail(rig, kKeptPhoto, kPhotoThumbnail);
}

bool playback(Rig& rig) {
  auto& application = rig.application();
  application.mark();
  application.ask(kVideo, media_channel::kPlay, kKeptVideo, "1500");
  return is_told(rig, "TIME:1500") && is_told(rig, std::string("TRANSCOMPLETE:") + kKeptVideo) &&
         application.data(3).size() > 10000;
}

// The names are known to the program from its last scan.
bool is_listed(Rig& rig) {
  return poll_until([&] { return list_of(rig, true) && list_of(rig, false); }, seconds(20));
}

bool removal(Rig& rig) {
  rig.application().mark();
  rig.application().ask(kPhoto, media_channel::kDelete, kDoomed);
  return is_told(rig, std::string("FREMOVED:") + kDoomed) &&
         !file_exists(kPictures + std::string(kDoomed)) && !file_exists(kDoomedThumbnail);
}

void put_doomed(Rig& rig) {
  rig.clear_pictures();
  fs::copy_file(kPictures + std::string(kKeptPhoto), kPictures + std::string(kDoomed));
  write_file(kDoomedThumbnail, "a thumbnail");
  rig.note(is_listed(rig) ? "ready" : "not ready");
}

}  // namespace

std::vector<Road> media_roads() {
  const auto listed = [](Rig& rig) { is_listed(rig); };
  Road list{"list", lists};
  Road download_road{"download", download};
  download_road.prepare = listed;
  Road thumbnail_road{"thumbnail", thumbnail};
  thumbnail_road.prepare = [](Rig& rig) {
    fs::remove(kVideoThumbnail);
    fs::remove(kPhotoThumbnail);
    is_listed(rig);
  };
  Road playback_road{"playback", playback};
  playback_road.prepare = listed;
  Road delete_road{"delete", removal};
  delete_road.prepare = put_doomed;
  return {list, download_road, thumbnail_road, playback_road, delete_road};
}

}  // namespace faults_test
