// What the answer to the photo command does to the files on the card.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <future>

#include "base/descriptor.h"
#include "camera/connection.h"
#include "camera/cutting.h"
#include "camera/frame_decoder.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/link_context.h"
#include "support/loopback.h"
#include "support/photo_card.h"

namespace camera_test {
namespace {

namespace fs = std::filesystem;
using media_test::Bytes;
using media_test::exiftool;
using media_test::exists;
using media_test::kCard;
using media_test::kPic;
using media_test::kThumb;
using media_test::Names;
using media_test::names_in;

class CamPhotoBoard : public media_test::PhotoCard {
 protected:
  CamPhotoBoard()
      : photo_(media_test::photo_with_exif(media_test::exif_bytes({}, {}, {0xFF, 0xD8, 1}))) {
    flightlink::store_latitude(225000000);
    flightlink::store_longitude(1137500000);
    flightlink::store_altitude_from_32(1234);
  }

  void put(const std::string& name) const { media_test::write_file(kPic + "/" + name, photo_); }
  // The service reports this path, as it stands in its JSON text.
  static void photo_at(const std::string& path) {
    const std::string text = R"({"rval":0,"msg_id":769,"param":")" + path + "\"}";
    camera::cam_handle_message(&camera::cam_json_context, text.c_str(), text.size());
  }
  [[nodiscard]] bool tagged(const std::string& name) const {
    return media_test::read_file(kPic + "/" + name) != photo_;
  }

 private:
  Bytes photo_;
};

TEST_F(CamPhotoBoard, ThePhotoWithItsFinalNameIsTaggedInPlace) {
  put("20200101_120000AB.JPG");
  photo_at(R"(C:\\DCIM\\20200101_120000AA.JPG)");
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000AB.JPG"});
  const std::string photo = kPic + "/20200101_120000AB.JPG";
  EXPECT_EQ(exiftool(photo, "GPSLatitude"), "22.5");
  EXPECT_EQ(exiftool(photo, "GPSLongitude"), "113.75");
  EXPECT_EQ(exiftool(photo, "GPSAltitude"), "123.4");
  EXPECT_EQ(exiftool(photo, "Make"), "KORVAN");
}

TEST_F(CamPhotoBoard, APhotoOfAModeGetsItsName) {
  put("20200101_120000AB.JPG");
  set_mode(2, 3);
  photo_at(R"(C:\\DCIM\\20200101_120000AA.JPG)");
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000_PW03.JPG"});
  EXPECT_EQ(names_in(kThumb), Names{"20200101_120000_PW03_p.JPG"});
}

TEST_F(CamPhotoBoard, OnlyTheFirstAaBecomesAb) {
  put("AB_AA.JPG");
  put("AB_AB.JPG");
  put("AA_AB.JPG");
  photo_at(R"(\\AA_AA.JPG)");
  EXPECT_TRUE(tagged("AB_AA.JPG"));
  EXPECT_FALSE(tagged("AB_AB.JPG"));
  EXPECT_FALSE(tagged("AA_AB.JPG"));
}

TEST_F(CamPhotoBoard, ThreeAsBecomeAba) {
  put("ABA.JPG");
  put("AAB.JPG");
  photo_at(R"(\\AAA.JPG)");
  EXPECT_TRUE(tagged("ABA.JPG"));
  EXPECT_FALSE(tagged("AAB.JPG"));
}

TEST_F(CamPhotoBoard, ANameWithoutAaIsTakenAsItIs) {
  put("X.JPG");
  photo_at(R"(C:\\AA\\X.JPG)");
  EXPECT_TRUE(tagged("X.JPG"));
}

TEST_F(CamPhotoBoard, WithoutABackslashNothingIsTagged) {
  put("X.JPG");
  put("AB.JPG");
  photo_at("X.JPG");
  photo_at("/DCIM/X.JPG");
  photo_at("AA.JPG");
  EXPECT_FALSE(tagged("X.JPG"));
  EXPECT_FALSE(tagged("AB.JPG"));
}

TEST_F(CamPhotoBoard, NothingOutsideTheFolderIsTouched) {
  put("X.JPG");
  fs::copy_file(kPic + "/X.JPG", kCard + "/X.JPG");
  photo_at(R"(C:\\../X.JPG)");
  photo_at(R"(C:\\$(touch /tmp/SD0/KRVMEDIA/y).JPG)");
  EXPECT_EQ(media_test::read_file(kCard + "/X.JPG"), media_test::read_file(kPic + "/X.JPG"));
  EXPECT_FALSE(tagged("X.JPG"));
  EXPECT_FALSE(exists(kCard + "/y"));
}

// The acknowledgement leaves before the photo is tagged, the report after it.
TEST_F(CamPhotoBoard, TheReportFollowsTheTaggedPhoto) {
  sockaddr_in address{};
  const base::Descriptor peer = support::open_loopback(&address);
  const base::Descriptor sender = support::open_socket(SOCK_DGRAM);
  flightlink::mavlink_context.peer_address = address;
  flightlink::mavlink_context.peer_socket.store(sender.get());
  put("20200101_120000AB.JPG");
  set_mode(2, 3);
  const auto start = std::chrono::steady_clock::now();
  auto answer =
      std::async(std::launch::async, [] { photo_at(R"(C:\\DCIM\\20200101_120000AA.JPG)"); });
  const auto receive = [&] {
    pollfd readable{peer.get(), POLLIN, 0};
    std::array<uint8_t, 512> datagram{};
    if (poll(&readable, 1, 20000) != 1) return std::string("silence");
    const ssize_t got = recv(peer.get(), datagram.data(), datagram.size(), 0);
    return decode_frame(std::span(datagram).first(static_cast<size_t>(got)));
  };
  EXPECT_EQ(receive(), "app 77: d1 07 00");
  EXPECT_EQ(receive().substr(0, 22), "flight 76: 00 00 80 3f");
  EXPECT_EQ(names_in(kPic), Names{"20200101_120000_PW03.JPG"});
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  answer.get();
  flightlink::mavlink_context.peer_socket.store(0);
}

}  // namespace
}  // namespace camera_test
