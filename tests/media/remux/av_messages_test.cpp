// What is said of FFmpeg's work, with the remux job as the one that has something to say.
#include "media/movie/av_messages.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "media/movie/av_input.h"
#include "media/remux/remux_rig.h"

namespace media {
namespace {

using media_test::Bytes;
using States = std::vector<uint32_t>;

// What the libraries say up to the dump's level, and the highest level that anybody had set when
// they said anything.
std::string said;
int loudest;

void note(void* /*sender*/, int level, const char* format, va_list arguments) {
  char text[1024];
  std::vsnprintf(text, sizeof(text), format, arguments);
  if (level <= AV_LOG_INFO) said += text;
  loudest = std::max(loudest, av_log_get_level());
}

class AvMessages : public media_test::RemuxRig {
 protected:
  AvMessages() {
    said.clear();
    loudest = AV_LOG_QUIET;
  }
  ~AvMessages() override {
    av_log_set_callback(av_log_default_callback);
    av_log_set_level(AV_LOG_INFO);
  }

  [[nodiscard]] std::string dump() const {
    return "Output #0, h264, to '" + output_ +
           "':\n  Stream #0:0: Video: h264 (Constrained Baseline), yuv420p(progressive), 640x360 "
           "[SAR 1:1 DAR 16:9], q=2-31\n";
  }
};

TEST_F(AvMessages, AJobDumpsItsFormatAndLeavesTheLevelOfTheProcessAlone) {
  av_log_set_level(AV_LOG_FATAL);
  av_log_set_callback(note);
  run(media_test::stream_pictures());
  EXPECT_EQ(states, (States{1, 2, 4}));
  EXPECT_NE(said.find(dump()), std::string::npos) << said;
  EXPECT_EQ(loudest, AV_LOG_FATAL);
}

TEST_F(AvMessages, QuietLibrariesStillPrintTheDumpAndNothingElse) {
  quiet_av_messages();
  EXPECT_EQ(av_log_get_level(), AV_LOG_FATAL);
  // A picture in the middle that no decoder takes.
  std::vector<Bytes> packets = media_test::stream_pictures();
  std::fill(packets[3].end() - 100, packets[3].end(), 0xAA);
  testing::internal::CaptureStderr();
  run(packets);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), dump());
  EXPECT_EQ(states, (States{1, 2, 4}));
}

TEST_F(AvMessages, QuietLibrariesSayNothingOfABrokenFile) {
  const std::string broken = folder_.path("broken.MP4");
  media_test::make_recording(broken, media_test::pattern("160x120", 30));
  Bytes bytes = media_test::read_file(broken);
  bytes.resize(bytes.size() / 2);
  media_test::write_file(broken, bytes);
  const auto open_it = [&] {
    OwnedInput input;
    testing::internal::CaptureStderr();
    EXPECT_LT(open_av_file(broken.c_str(), input), 0);
    return testing::internal::GetCapturedStderr();
  };
  EXPECT_NE(open_it(), "");
  quiet_av_messages();
  EXPECT_EQ(open_it(), "");
}

}  // namespace
}  // namespace media
