#include "groundstation/media/download.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace groundstation {
namespace {

constexpr uint64_t kFirstWindow = 32;
constexpr uint64_t kLargestWindow = 512;
// Streams for one window before a smaller one is tried: while merging helps, and when it cannot.
constexpr uint32_t kMergeStreams = 10;
constexpr uint32_t kPlainStreams = 2;
constexpr uint32_t kMostRunStreams = 4 * MediaDownload::kUniformStreams;
// Of the chunks up to the end of a run, so many have to come for the run to be believed.
constexpr uint64_t kRunShare = 2;

}  // namespace

MediaDownload::MediaDownload(uint64_t size, uint64_t from, MediaStore& store)
    : from_(from),
      length_(size > from ? size - from : 0),
      chunks_((length_ + kMediaChunk - 1) / kMediaChunk),
      store_(store),
      proved_from_(chunks_) {}

uint64_t MediaDownload::position(uint64_t chunk) const {
  return std::min(chunk * kMediaChunk, length_);
}

size_t MediaDownload::chunk_size(uint64_t chunk) const {
  return position(chunk + 1) - position(chunk);
}

uint64_t MediaDownload::offset() const { return from_ + position(window_); }

void MediaDownload::start() {
  received_ = 0;
  bytes_received_ = 0;
  short_seen_ = spoiled_ = lost_ = proved_ = false;
  run_over_ = run_ended_right_ = false;
  run_seen_ = 0;
  first_.clear();
  fresh_.clear();
  if (first_pass_) first_bytes_ = 0;
}

void MediaDownload::data(std::span<const uint8_t> bytes) {
  if (failed() || spoiled_) return;
  // More than the file has from there on, or another last chunk than it has.
  const uint64_t earliest = window_ + received_;
  const bool last = bytes.size() < kMediaChunk || earliest + 1 == chunks_;
  spoiled_ = bytes.empty() || bytes.size() > kMediaChunk || short_seen_ || earliest >= chunks_ ||
             (last && bytes.size() != chunk_size(chunks_ - 1));
  if (spoiled_) return;
  short_seen_ = last;
  bytes_received_ += bytes.size();
  if (first_pass_) {
    first_pass_data(bytes);
  } else {
    window_data(bytes);
  }
  received_++;
}

void MediaDownload::first_pass_data(std::span<const uint8_t> bytes) {
  store_failed_ = !store_.write(position(received_), bytes);
  first_bytes_ = bytes_received_;
}

bool MediaDownload::is_proved_chunk(uint64_t chunk, std::span<const uint8_t> bytes, uint64_t hash) {
  if (hashes_[chunk] != hash || chunk_size(chunk) != bytes.size()) return false;
  std::array<uint8_t, kMediaChunk> there;
  const std::span<uint8_t> part(there.data(), bytes.size());
  if (!store_.read(position(chunk), part)) {
    store_failed_ = true;
    return false;
  }
  return std::memcmp(part.data(), bytes.data(), bytes.size()) == 0;
}

// How far the stream is the run that what is proved begins with, and whether it left it where the
// run ends.
void MediaDownload::note_run(std::span<const uint8_t> bytes, uint64_t hash) {
  if (run_over_ || proved_from_ == chunks_) return;
  if (hash == hashes_[proved_from_]) {
    run_seen_++;
    return;
  }
  run_over_ = true;
  run_ended_right_ = run_end_ < chunks_ && is_proved_chunk(run_end_, bytes, hash);
}

void MediaDownload::window_data(std::span<const uint8_t> bytes) {
  const uint64_t hash = chunk_hash(bytes);
  note_run(bytes, hash);
  const uint64_t wanted = proved_from_ - window_;
  if (received_ < wanted) {
    first_.append(bytes, hash);
    if (!last_with_.contains(hash)) fresh_.append(bytes, hash);
    // The places in front of what is proved are as many as these; in front of the end of the file
    // the count alone tells.
    proved_ = fresh_.size() == wanted;
    return;
  }
  if (!proved_ && !lost_) follow_proved(bytes, hash);
}

void MediaDownload::follow_proved(std::span<const uint8_t> bytes, uint64_t hash) {
  const uint64_t chunk = window_ + received_;
  if (!is_proved_chunk(chunk, bytes, hash)) {
    lost_ = true;
  } else if (last_with_.at(hash) == chunk) {
    proved_ = true;
  }
}

bool MediaDownload::wants_more() const {
  if (failed() || spoiled_) return false;
  if (first_pass_) return true;
  return !proved_ && !lost_;
}

std::optional<uint64_t> MediaDownload::still_useful() const {
  if (first_pass_ || proved_from_ == chunks_) return std::nullopt;
  const uint64_t all = run_end_ + 1 - window_;
  return all > received_ ? all - received_ : 0;
}

void MediaDownload::end(bool complete, bool whole) {
  if (failed()) return;
  fruitless_++;
  if (spoiled_) {
    spoiled_streams_++;
    return;
  }
  if (first_pass_) {
    end_first_pass(whole);
    return;
  }
  if (!whole) return;
  streams_++;
  if (proved_by_stream()) {
    commit(first_);
  } else if (proved_by_merging()) {
    commit(merged_);
  } else if (proved_by_repetition(complete)) {
    commit_run();
  } else {
    smaller_window();
  }
}

void MediaDownload::end_first_pass(bool whole) {
  if (whole && received_ == chunks_ && bytes_received_ == length_) {
    proved_from_ = 0;
    return;
  }
  first_pass_ = false;
  hashes_.resize(chunks_);
  for (ChunkList* list : {&first_, &fresh_, &merged_, &spare_}) list->reserve(kLargestWindow);
  open_window(kFirstWindow);
}

bool MediaDownload::proved_by_stream() {
  if (!proved_) return false;
  return fits(first_);
}

bool MediaDownload::proved_by_merging() {
  if (!mergeable_) return false;
  spare_.clear();
  mergeable_ = merge_chunks(merged_, fresh_, &spare_);
  if (!mergeable_) return false;
  std::swap(merged_, spare_);
  return merged_.size() == proved_from_ - window_ && merged_.distinct() && fits(merged_);
}

// A stream that brought something else is against it; one that lost the chunk behind the run says
// nothing.
bool MediaDownload::proved_by_repetition(bool complete) {
  if (proved_from_ == chunks_) return false;
  if (fresh_.size() > 0) uniform_ = 0;
  const bool ended_right = run_over_ ? run_ended_right_ : complete && run_end_ == chunks_;
  const bool enough = run_seen_ * kRunShare >= run_end_ - window_;
  if (ended_right && enough) uniform_++;
  return uniform_ >= kUniformStreams;
}

// Every chunk but the file's last is a full one.
bool MediaDownload::fits(const ChunkList& chunks) const {
  for (size_t i = 0; i < chunks.size(); i++) {
    if (chunks.bytes(i).size() != chunk_size(window_ + i)) return false;
  }
  return chunks.size() == proved_from_ - window_;
}

void MediaDownload::commit(const ChunkList& chunks) {
  for (size_t i = chunks.size(); i-- > 0;) {
    const uint64_t chunk = window_ + i;
    store_failed_ |= !store_.write(position(chunk), chunks.bytes(i));
    hashes_[chunk] = chunks.hash(i);
    last_with_.emplace(chunks.hash(i), chunk);  // a later one stays
  }
  open_window(std::min(window_size_ * 2, kLargestWindow));
}

void MediaDownload::commit_run() {
  std::array<uint8_t, kMediaChunk> contents;
  store_failed_ |= !store_.read(position(proved_from_), contents);
  for (uint64_t chunk = window_; chunk < proved_from_; chunk++) {
    store_failed_ |= !store_.write(position(chunk), contents);
    hashes_[chunk] = hashes_[proved_from_];
  }
  open_window(window_size_);
}

// What was in front is proved now: goes on in front of the window that was.
void MediaDownload::open_window(uint64_t chunks) {
  if (window_size_ != 0) proved_from_ = window_;
  fruitless_ = 0;
  window_size_ = chunks;
  window_ = proved_from_ - std::min(proved_from_, chunks);
  streams_ = uniform_ = 0;
  mergeable_ = true;
  merged_.clear();
  if (proved_from_ == chunks_) return;
  run_end_ = proved_from_;
  while (run_end_ < chunks_ && hashes_[run_end_] == hashes_[proved_from_]) run_end_++;
}

void MediaDownload::smaller_window() {
  // Streams that count towards a repetition are not disturbed.
  if (uniform_ > 0 && streams_ < kMostRunStreams) return;
  if (streams_ < (mergeable_ ? kMergeStreams : kPlainStreams)) return;
  window_size_ = std::max<uint64_t>(window_size_ / 2, 1);
  window_ = proved_from_ - std::min(proved_from_, window_size_);
  streams_ = uniform_ = 0;
  mergeable_ = true;
  merged_.clear();
}

}  // namespace groundstation
