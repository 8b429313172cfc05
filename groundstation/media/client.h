// What a client asks of the media channel, with the time-outs and repetitions that a link needs on
// which any datagram may be lost. One thread at a time.
//
// The camera numbers all its frames on this channel with one counter of 8 bits and answers in the
// order of the requests. So the numbers tell whether a notice was missed, and the answer to a size
// query tells that everything asked for before has been seen to.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "groundstation/media/download.h"
#include "groundstation/media/link.h"

namespace groundstation {

enum class MediaResult {
  kDone,
  kNotFound,     // the camera does not know the file
  kRefused,      // the camera, or the local disk, could not do it; see trouble()
  kNoAnswer,     // nothing came in time
  kInterrupted,  //
};

struct MediaSize {
  uint64_t bytes = 0;
  std::optional<uint64_t> seconds;
};

class MediaClient {
 public:
  // `patience_us`: how long the camera may be silent, repetitions included.
  MediaClient(MediaLink& link, uint64_t patience_us) : link_(link), patience_us_(patience_us) {}

  MediaResult size(MediaKind kind, const std::string& name, MediaSize* size);
  MediaResult list(MediaKind kind, std::vector<std::string>* names);
  MediaResult remove(MediaKind kind, const std::string& name);
  // Asks for a thumbnail until the camera has one; `size` is that of the thumbnail.
  MediaResult make_thumbnail(const std::string& name, MediaSize* size);
  // Ends what runs. `cancelled` gets the name of the download that ended, if it said so.
  MediaResult cancel(std::string* cancelled);
  // Runs a download to its end. `progress` is called often.
  MediaResult download(MediaKind kind, const std::string& name, MediaDownload* download,
                       const std::function<void()>& progress);

  // Datagrams of file data that came too late to be of use.
  [[nodiscard]] uint64_t overrun() const { return overrun_; }
  // Streams that were asked for.
  [[nodiscard]] uint64_t streams() const { return streams_; }

 private:
  enum class Turn { kGoOn, kStop };
  using Handler = std::function<Turn(const MediaEvent&)>;
  struct Stream;

  Wait pump(uint64_t until_us, const Handler& handler);
  MediaResult ask(const flightlink::MavlinkMessage& request, const Handler& handler,
                  int* sends = nullptr);
  MediaResult ping();
  MediaResult settle();
  MediaResult run_stream(MediaKind kind, const std::string& name, MediaDownload* download,
                         const std::function<void()>& progress);
  MediaResult follow_stream(Stream* stream, const std::function<void()>& progress);
  [[nodiscard]] bool ask_again(Stream* stream);
  void stream_data(Stream* stream, std::span<const uint8_t> bytes);
  Turn stream_event(Stream* stream, const MediaEvent& event);
  void cancel_stream(Stream* stream);
  void learn_lead(const Stream& stream);
  void stream_notice(Stream* stream, const MediaNotice& notice);
  MediaResult resolve_silence(Stream* stream);
  [[nodiscard]] uint64_t first_wait_us() const;
  void note_answer_time(uint64_t us);

  MediaLink& link_;
  uint64_t patience_us_;
  uint64_t slowest_start_us_ = 0;
  std::optional<uint8_t> last_sequence_;  // of the newest frame
  uint64_t overrun_ = 0;
  // Datagrams that come after the camera was asked to stop: what waits at the sender then.
  uint64_t lead_ = 0;
  uint64_t streams_ = 0;
};

}  // namespace groundstation
