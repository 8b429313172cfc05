// A download from a camera that is honest, on a road that loses what it likes: what the ground station
// takes for proved is the file.
//
//   number of chunks, size of the last one (2), one byte for each chunk: its contents
//   then for each stream: how it goes on (bits), and one bit for each of its chunks: 1 lost
//
// There are too few streams for the one thing that is believed without a proof, which needs 24.
#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/memory_store.h"
#include "fuzz/support.h"
#include "groundstation/media/download.h"

namespace {

using namespace groundstation;  // NOLINT
using Bytes = std::vector<uint8_t>;

constexpr size_t kMostChunks = 40;
constexpr int kMostStreams = 20;

Bytes take_file(fuzz::Input& input) {
  const size_t chunks = input.byte() % (kMostChunks + 1);
  const size_t last = input.word() % kMediaChunk + 1;
  Bytes file(chunks == 0 ? 0 : (chunks - 1) * kMediaChunk + last);
  for (size_t i = 0; i < chunks; i++) {
    const size_t at = i * kMediaChunk;
    std::memset(file.data() + at, input.byte(), std::min(kMediaChunk, file.size() - at));
  }
  return file;
}

class Losses {
 public:
  explicit Losses(fuzz::Input& input) : input_(input) {}
  bool next() {
    if (left_ == 0) {
      bits_ = input_.byte();
      left_ = 8;
    }
    return (bits_ >> --left_ & 1) != 0;
  }

 private:
  fuzz::Input& input_;
  uint8_t bits_ = 0;
  int left_ = 0;
};

void stream(fuzz::Input& input, const Bytes& file, MediaDownload& download) {
  const uint8_t ways = input.byte();
  const bool heeds = (ways & 1) != 0;    // the camera ends the stream when it is asked to
  const bool certain = (ways & 6) != 0;  // the frame numbers tell that no other stream came between
  Losses losses(input);
  download.start();
  bool complete = true;
  for (size_t at = download.offset(); at < file.size(); at += kMediaChunk) {
    if (heeds && !download.wants_more()) {
      complete = false;
      break;
    }
    const size_t size = std::min(kMediaChunk, file.size() - at);
    if (!losses.next() && download.wants_more()) download.data({file.data() + at, size});
  }
  download.end(complete, certain);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  fuzz::Input input(bytes, size);
  const Bytes file = take_file(input);
  const uint64_t from = std::min<uint64_t>(input.byte() % 4, file.size());
  fuzz::MemoryStore memory(file.size() - from);
  MediaDownload download(file.size(), from, memory);
  for (int i = 0; i < kMostStreams && !download.done() && !input.empty(); i++) {
    stream(input, file, download);
    fuzz::check(!download.failed(), "an honest camera is blamed");
    // What is proved never changes any more.
    const uint64_t proved = download.proved_bytes();
    fuzz::check(proved <= memory.bytes().size(), "more than there is");
    fuzz::check(std::equal(memory.bytes().end() - static_cast<ptrdiff_t>(proved),
                           memory.bytes().end(), file.end() - static_cast<ptrdiff_t>(proved)),
                "proved, and not the file");
  }
  return 0;
}
