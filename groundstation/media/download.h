// Getting a file whole over the media channel, whose data datagrams carry no number: which part of
// the file to ask for next, and what a stream of datagrams proves. Knows nothing of sockets and of
// time.
//
// A stream that is asked for at an offset brings the chunks from there on in order, some of them
// perhaps missing; what is missing shows nowhere. Chunks are counted from 0 at the first byte that
// is wanted, and every offset is that of a chunk.
//
// The first stream is the whole file: if all its chunks came, that is all. Otherwise everything is
// fetched again in windows, from the end of the file backward. Of a window of m chunks in front of
// what is proved already, the contents are certain when
//   - m chunks came that are unlike everything proved: each has a place of its own in the window;
//   - or the next one behind the first m is the first proved one and unlike all proved ones behind
//     it (it cannot have come from further ahead); the end of the file stands for it there. As long
//     as it is like a later one too, the stream is followed until a chunk is unlike;
//   - or several streams together hold m chunks, all different, whose order they tell.
// A window that holds nothing but the contents that follow it (a run of zeros) can be proved by no
// stream that lacks one chunk of the run. It is believed after kUniformStreams streams of which
// each brought only those contents up to the end of the run: with one datagram in twenty lost,
// others would have hidden with a probability of 1e-31.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "groundstation/media/chunks.h"
#include "groundstation/media/messages.h"

namespace groundstation {

// Where the bytes go; positions count from the first byte that is wanted.
class MediaStore {
 public:
  virtual ~MediaStore() = default;
  // False when it cannot be done.
  virtual bool write(uint64_t at, std::span<const uint8_t> bytes) = 0;
  virtual bool read(uint64_t at, std::span<uint8_t> bytes) = 0;
};

class MediaDownload {
 public:
  // The bytes from `from` on of a file of `size` bytes; `from` may lie behind its end.
  MediaDownload(uint64_t size, uint64_t from, MediaStore& store);
  MediaDownload(const MediaDownload&) = delete;
  MediaDownload& operator=(const MediaDownload&) = delete;

  [[nodiscard]] bool done() const { return proved_from_ == 0 && !failed(); }
  // The store refused, or the camera sends another file than one of that size.
  [[nodiscard]] bool failed() const { return store_failed_ || wrong_size(); }
  [[nodiscard]] bool wrong_size() const { return spoiled_streams_ >= kSpoiledStreams; }

  // The byte of the file from which the next stream is to come.
  [[nodiscard]] uint64_t offset() const;

  // A stream begins, or begins again.
  void start();
  void data(std::span<const uint8_t> bytes);
  // False: the rest of the stream is of no use.
  [[nodiscard]] bool wants_more() const;
  // How many more datagrams the stream has to bring before the rest can be of no use; nothing when
  // it ends by itself there. They may be asked to end that early: a shorter stream does no harm.
  [[nodiscard]] std::optional<uint64_t> still_useful() const;
  // The stream has ended: `complete` at the end of the file; `whole` when certainly no other stream
  // began or ended between. One that is not whole proves nothing.
  void end(bool complete, bool whole);

  // For the progress: bytes that are certain, or have come in the first stream.
  [[nodiscard]] uint64_t first_pass_bytes() const { return first_bytes_; }
  [[nodiscard]] bool recovering() const { return !first_pass_; }
  [[nodiscard]] uint64_t proved_bytes() const { return length_ - position(proved_from_); }
  [[nodiscard]] uint64_t total_bytes() const { return length_; }
  // Streams that ended, since something was proved last.
  [[nodiscard]] uint32_t fruitless() const { return fruitless_; }

  static constexpr uint32_t kUniformStreams = 24;
  static constexpr uint32_t kSpoiledStreams = 3;

 private:
  [[nodiscard]] uint64_t position(uint64_t chunk) const;
  [[nodiscard]] size_t chunk_size(uint64_t chunk) const;
  [[nodiscard]] bool is_proved_chunk(uint64_t chunk, std::span<const uint8_t> bytes, uint64_t hash);
  void first_pass_data(std::span<const uint8_t> bytes);
  void window_data(std::span<const uint8_t> bytes);
  void note_run(std::span<const uint8_t> bytes, uint64_t hash);
  void follow_proved(std::span<const uint8_t> bytes, uint64_t hash);
  void end_first_pass(bool whole);
  [[nodiscard]] bool proved_by_stream();
  [[nodiscard]] bool proved_by_merging();
  [[nodiscard]] bool proved_by_repetition(bool complete);
  [[nodiscard]] bool fits(const ChunkList& chunks) const;
  void commit(const ChunkList& chunks);
  void commit_run();
  void open_window(uint64_t chunks);
  void smaller_window();

  const uint64_t from_;
  const uint64_t length_;
  const uint64_t chunks_;
  MediaStore& store_;
  bool store_failed_ = false;
  uint32_t spoiled_streams_ = 0;
  bool first_pass_ = true;
  uint64_t first_bytes_ = 0;

  uint64_t proved_from_;                              // chunks from here on are certain
  std::vector<uint64_t> hashes_;                      // of them, by chunk
  std::unordered_map<uint64_t, uint64_t> last_with_;  // the last one with those contents
  uint64_t run_end_ = 0;  // behind the chunks that are like the first proved one

  uint64_t window_ = 0;       // its first chunk; it ends at proved_from_
  uint64_t window_size_ = 0;  // wanted; the last window may be smaller
  uint32_t streams_ = 0;      // that ended for this window
  uint32_t fruitless_ = 0;
  uint32_t uniform_ = 0;
  bool mergeable_ = true;  // no contents have been seen twice in this window
  ChunkList merged_;
  ChunkList spare_;

  // The stream.
  uint64_t received_ = 0;
  uint64_t bytes_received_ = 0;
  bool short_seen_ = false;  // a chunk that can only be the file's last
  bool spoiled_ = false;     // more or other chunks than the file has
  bool lost_ = false;        // a chunk of the window or of what was followed is missing
  bool proved_ = false;
  ChunkList first_;  // up to the window's size
  ChunkList fresh_;  // those of them that are unlike everything proved
  uint64_t run_seen_ = 0;
  bool run_over_ = false;
  bool run_ended_right_ = false;
};

}  // namespace groundstation
