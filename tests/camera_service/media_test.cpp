// Photos and recordings, judged by tools that are not ours.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/clock.h"
#include "camera_service/service_program.h"

namespace camera_service_test {
namespace {

class Media : public testing::Test {
 protected:
  Media() { client_.begin_session(); }

  // The complete file that the answer's path stands for: "C:\DCIM\<stamp>AA.JPG" is <stamp>AB.JPG.
  [[nodiscard]] std::string file_of(const json& answer, const char* folder) const {
    std::string name = answer["param"].get<std::string>();
    EXPECT_EQ(name.substr(0, 8), "C:\\DCIM\\");
    name = name.substr(8);
    EXPECT_EQ(name.substr(15, 2), "AA");
    name[16] = 'B';
    return program_.card() + "/KRVMEDIA/" + folder + "/" + name;
  }
  [[nodiscard]] std::string take_photo() {
    const json answer = client_.command(769);
    EXPECT_EQ(answer["rval"], 0);
    return file_of(answer, "PIC");
  }
  [[nodiscard]] static json exif_of(const std::string& file) {
    return json::parse(run_command("exiftool -json " + file).output)[0];
  }

  ServiceProgram program_;
  JsonClient client_{program_};
};

TEST_F(Media, PhotoIsACompleteJpegOfTwelveMegapixels) {
  const std::string file = take_photo();
  const CommandResult checked = run_command("jpeginfo -c " + file);
  EXPECT_EQ(checked.status, 0) << checked.output;
  EXPECT_NE(checked.output.find("4000 x 3000"), std::string::npos) << checked.output;
  EXPECT_GT(std::filesystem::file_size(file), 1U << 20);
  EXPECT_EQ(names_in(program_.card() + "/KRVMEDIA/PIC"), file.substr(file.rfind('/') + 1));
}

TEST_F(Media, PhotoHasAFaultlessExifBlock) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  client_.set_resolution("1920x1080 30P 16:9");
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(2, {{"type", "shutter_time"}, {"param", "1/12.5"}})["rval"], 0);
  const std::string file = take_photo();
  EXPECT_EQ(run_command("exiftool -validate -s3 " + file).output, "OK\n");
  const json exif = exif_of(file);
  const std::string name = file.substr(file.rfind('/') + 1);
  const std::string time = name.substr(0, 4) + ":" + name.substr(4, 2) + ":" + name.substr(6, 2) +
                           " " + name.substr(9, 2) + ":" + name.substr(11, 2) + ":" +
                           name.substr(13, 2);
  EXPECT_EQ(exif["Make"], "Virtual Board");
  EXPECT_EQ(exif["ModifyDate"], time);
  EXPECT_EQ(exif["DateTimeOriginal"], time);
  EXPECT_EQ(exif["CreateDate"], time);
  EXPECT_EQ(exif["ExifImageWidth"], 4000);
  EXPECT_EQ(run_command("exiftool -n -s3 -ExposureTime " + file).output, "0.08\n");  // 10/125 s
  EXPECT_FALSE(exif.contains("Artist"));
  EXPECT_FALSE(exif.contains("GPSLatitude"));
}

TEST_F(Media, PhotoEmbedsAThumbnailOfItself) {
  const std::string thumbnail = program_.folder() + "/thumbnail.jpg";
  run_command("exiftool -b -ThumbnailImage " + take_photo() + " > " + thumbnail);
  const CommandResult checked = run_command("jpeginfo -c " + thumbnail);
  EXPECT_EQ(checked.status, 0) << checked.output;
  EXPECT_NE(checked.output.find("160 x  120"), std::string::npos) << checked.output;
}

TEST_F(Media, PhotosOfOneSecondHaveDifferentNames) {
  const std::string first = take_photo();
  const std::string second = take_photo();
  EXPECT_LT(first, second);
  EXPECT_TRUE(std::filesystem::exists(first));
  EXPECT_TRUE(std::filesystem::exists(second));
}

TEST_F(Media, ServerAnswersWhileAPhotoIsTaken) {
  client_.send(R"({"msg_id":769,"token":1}{"msg_id":773,"token":1}{"msg_id":769,"token":1})");
  EXPECT_EQ(client_.receive()["msg_id"], 773);
  EXPECT_EQ(client_.receive(), json({{"rval", -6}, {"msg_id", 769}}));
  EXPECT_EQ(client_.receive()["rval"], 0);
}

TEST_F(Media, ExifBlockCanBeMissingBrokenOrDifferent) {
  ASSERT_EQ(program_.ctl("photo-exif none").status, 0);
  EXPECT_FALSE(exif_of(take_photo()).contains("Make"));
  ASSERT_EQ(program_.ctl("photo-exif broken").status, 0);
  const std::string broken = take_photo();
  EXPECT_FALSE(exif_of(broken).contains("Make"));
  EXPECT_EQ(run_command("jpeginfo -c " + broken).status, 0);
  ASSERT_EQ(program_.ctl("photo-exif motorola").status, 0);
  const std::string motorola = take_photo();
  EXPECT_EQ(exif_of(motorola)["ExifByteOrder"], "Big-endian (Motorola, MM)");
  EXPECT_EQ(run_command("exiftool -validate -s3 " + motorola).output, "OK\n");
  ASSERT_EQ(program_.ctl("photo-exif gps").status, 0);
  const std::string gps = take_photo();
  EXPECT_EQ(exif_of(gps)["GPSLatitude"], "1 deg 2' 3.00\" N");
  EXPECT_EQ(run_command("exiftool -validate -s3 " + gps).output, "OK\n");
}

TEST_F(Media, TextsOfTheExifBlockCanBeSet) {
  ASSERT_EQ(program_.ctl("photo-text make KOR").status, 0);
  ASSERT_EQ(program_.ctl("photo-text artist A. Pilot").status, 0);
  const json exif = exif_of(take_photo());
  EXPECT_EQ(exif["Make"], "KOR");
  EXPECT_EQ(exif["Artist"], "A. Pilot");
}

TEST_F(Media, RecordingIsAPlayableVideoOfMoreThanAMebibyte) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  const uint64_t begin = base::monotonic_us();
  ASSERT_EQ(client_.command(513), json({{"rval", 0}, {"msg_id", 513}}));
  EXPECT_EQ(program_.state()["recording"], true);
  base::sleep_ms(1200);
  EXPECT_NE(names_in(program_.card() + "/KRVMEDIA/VIDEO").find("AA.MP4"), std::string::npos);
  const json answer = client_.command(514);
  const uint64_t took_us = base::monotonic_us() - begin;
  ASSERT_EQ(answer["rval"], 0);
  EXPECT_EQ(client_.receive(), json({{"notify_id", 0}}));

  const std::string file = file_of(answer, "VIDEO");
  EXPECT_EQ(names_in(program_.card() + "/KRVMEDIA/VIDEO"), file.substr(file.rfind('/') + 1));
  EXPECT_GT(std::filesystem::file_size(file), 1U << 20);
  const json probe = json::parse(
      run_command("ffprobe -v error -of json -show_streams -show_entries packet=flags,pts_time " +
                  file)
          .output);
  const json& stream = probe["streams"][0];
  EXPECT_EQ(stream["codec_name"], "h264");
  EXPECT_EQ(stream["width"], 1280);
  EXPECT_EQ(stream["r_frame_rate"], "30/1");
  // As long as the recording was: not less than the sleep, and more only where the machine was
  // busy.
  const double duration = std::stod(stream["duration"].get<std::string>());
  EXPECT_GE(duration, 1.1);
  EXPECT_LE(duration, static_cast<double>(took_us) / 1e6 + 0.034);
  int keys = 0;
  double last_key = 0;
  for (const json& packet : probe["packets"]) {
    if (packet["flags"].get<std::string>().front() != 'K') continue;
    keys++;
    const double at = std::stod(packet["pts_time"].get<std::string>());
    EXPECT_LE(at - last_key, 1.0);
    last_key = at;
  }
  EXPECT_GE(keys, 2);
  EXPECT_EQ(run_command("ffmpeg -v error -i " + file + " -f null -").output, "");
}

TEST_F(Media, RecordingKeepsSettingsAndModeFromChanging) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(513)["rval"], 0);
  EXPECT_EQ(client_.command(513)["rval"], -6);
  EXPECT_EQ(client_.command(772)["rval"], -6);
  EXPECT_EQ(client_.command(260)["rval"], -6);
  EXPECT_EQ(client_.command(4, {{"param", "C"}})["rval"], -6);
  EXPECT_EQ(client_.command(514)["rval"], 0);
}

TEST_F(Media, RecordingIsCompleteAfterSigterm) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(513)["rval"], 0);
  base::sleep_ms(300);
  EXPECT_EQ(program_.terminate(), 0);
  const std::string folder = program_.card() + "/KRVMEDIA/VIDEO/";
  const std::string name = names_in(folder);
  EXPECT_NE(name.find("AB.MP4"), std::string::npos) << name;
  EXPECT_EQ(run_command("ffmpeg -v error -i " + folder + name + " -f null -").output, "");
}

}  // namespace
}  // namespace camera_service_test
