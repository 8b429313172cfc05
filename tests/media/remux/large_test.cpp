// Streams as large as the camera's, with pictures of any size: what comes out is what was pushed.
#include <algorithm>
#include <array>
#include <fstream>

#include "media/remux/remux_rig.h"

namespace media {
namespace {

using media_test::Bytes;
using States = std::vector<uint32_t>;

constexpr size_t kKiB = 1024;
// Of the pieces that a stream is cut into, again and again; the last one fills the whole buffer.
constexpr std::array<size_t, 12> kSizes = {1,     3,     9,     10,    2038,   32767,
                                           32768, 32769, 40000, 70000, 700001, 2048 * kKiB};

struct Stream {
  const char* name;
  const char* size;
  int mbits;
};

void PrintTo(const Stream& stream, std::ostream* out) { *out << stream.name; }

class RemuxLarge : public media_test::RemuxRig, public ::testing::WithParamInterface<Stream> {
 protected:
  // Whether the file holds the bytes that many times and nothing else.
  static bool repeats(const std::string& path, const Bytes& bytes, size_t times) {
    std::ifstream file(path, std::ios::binary);
    Bytes part(bytes.size());
    for (size_t i = 0; i < times; i++) {
      file.read(reinterpret_cast<char*>(part.data()), static_cast<std::streamsize>(part.size()));
      if (!file || part != bytes) return false;
    }
    return file.peek() == std::ifstream::traits_type::eof();
  }
};

TEST_P(RemuxLarge, AMinuteComesOutAsItWentIn) {
  constexpr size_t kRounds = 30;  // of 2 s
  const std::vector<Bytes> pictures =
      media_test::camera_pictures(GetParam().size, GetParam().mbits);
  ASSERT_EQ(pictures.size(), 60U);
  const Bytes pushed = joined(pictures, 0, pictures.size());
  const auto mbit = static_cast<size_t>(GetParam().mbits) * 1000000;
  EXPECT_GE(pushed.size() * 8, 2 * mbit);
  EXPECT_GT(pictures[0].size(), 512 * kKiB);
  EXPECT_GE(std::count_if(pictures.begin(), pictures.end(),
                          [](const Bytes& picture) { return picture.size() > 32 * kKiB; }),
            10);
  run(
      pictures, output_, [](size_t) {}, kRounds);
  EXPECT_EQ(states, (States{1, 2, 4}));
  EXPECT_TRUE(repeats(output_, pushed, kRounds));
}

class RemuxPieces : public media_test::RemuxRig {};

// Whatever the library has in its buffer, it asks for a packet of 2 MiB, from the first byte on.
TEST_F(RemuxPieces, PiecesOfAnySizeUpToTwoMebibytesComeOutWhole) {
  const std::vector<Bytes> pictures = media_test::camera_pictures("1280x720", 8);
  Bytes stream;
  while (stream.size() < 3 * kSizes.back()) {
    for (const Bytes& picture : pictures) {
      stream.insert(stream.end(), picture.begin(), picture.end());
    }
  }
  std::vector<Bytes> pieces;
  auto at = stream.begin();
  for (size_t i = 0; at != stream.end(); i++) {
    const auto left = static_cast<size_t>(stream.end() - at);
    const auto end = at + static_cast<ptrdiff_t>(std::min(kSizes[i % kSizes.size()], left));
    pieces.emplace_back(at, end);
    at = end;
  }
  ASSERT_GT(pieces.size(), 2 * kSizes.size());
  run(pieces);
  EXPECT_EQ(states, (States{1, 2, 4}));
  EXPECT_TRUE(media_test::read_file(output_) == stream);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RemuxLarge,
                         ::testing::Values(Stream{"Hd8Mbit", "1280x720", 8},
                                           Stream{"FullHd20Mbit", "1920x1080", 20}),
                         ::testing::PrintToStringParamName());

}  // namespace
}  // namespace media
