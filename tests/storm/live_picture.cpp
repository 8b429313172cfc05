// Whether live video can be watched: one group of pictures, from one key picture to the next, is
// given to a decoder.
#include <string_view>
#include <vector>

#include "storm/promises.h"

namespace storm {
namespace {

using namespace support;  // NOLINT

constexpr const char* kClip = "/tmp/storm_live.h264";
// The encoder makes a key picture every 30 pictures.
constexpr int kFewestPictures = 25;

// Where sequence parameter sets begin.
std::vector<size_t> group_starts(std::string_view stream) {
  constexpr std::string_view kStart("\0\0\0\1", 4);
  std::vector<size_t> starts;
  for (size_t at = stream.find(kStart); at != stream.npos; at = stream.find(kStart, at + 4)) {
    if (at + 4 < stream.size() && (stream[at + 4] & 31) == 7) starts.push_back(at);
  }
  return starts;
}

std::string stream_since(Board& board, size_t from) {
  const auto datagrams = board.video().received();
  std::string stream;
  for (size_t i = from; i < datagrams.size(); i++) {
    stream.append(reinterpret_cast<const char*>(datagrams[i].bytes.data()),
                  datagrams[i].bytes.size());
  }
  return stream;
}

std::string trouble_decoding(std::string_view group) {
  write_file(kClip, group);
  const CommandResult shown =
      run_command({"ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0",
                   "-show_entries", "stream=nb_read_frames", "-of", "default=nw=1:nk=1", kClip});
  if (std::atoi(shown.output.c_str()) >= kFewestPictures && shown.output.size() < 8) return "";
  return shown.output.substr(0, 200);
}

}  // namespace

std::string shows_live_video(Board& board, size_t from) {
  std::string why = "no group of pictures has come";
  size_t tried = 0;
  // Pieces that wait too long are dropped on a busy machine, so not every group is whole.
  poll_until(
      [&] {
        const std::string stream = stream_since(board, from);
        const std::vector<size_t> starts = group_starts(stream);
        for (; tried + 1 < starts.size(); tried++) {
          const size_t size = starts[tried + 1] - starts[tried];
          why = trouble_decoding(std::string_view(stream).substr(starts[tried], size));
          if (why.empty()) return true;
        }
        let_pass(milliseconds(100));
        return false;
      },
      seconds(90));
  return why;
}

}  // namespace storm
