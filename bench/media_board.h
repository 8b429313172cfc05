// A board with maintask and a client of its media channel, for the benches of that channel.
#pragma once

#include <cstdint>
#include <string>

#include "peer_port.h"
#include "support/fixtures.h"

namespace bench {

inline constexpr uint16_t kChannelPort = 8857;
inline constexpr uint16_t kApplicationPort = 30000;
inline constexpr size_t kBigFile = 64U << 20;  // bytes of "big.MP4"

// The work and control requests of message 142: what is asked for is a file of that kind and name.
inline constexpr uint8_t kPhotoKind = 1;
inline constexpr uint8_t kThumbnailKind = 2;
inline constexpr uint8_t kVideoKind = 3;
support::Frame download_request(uint8_t kind, const std::string& name);
support::Frame cancel_request();
support::Frame list_request(bool photos);

// On the card are "big.MP4", "small.JPG" of 50000 bytes and "clip.MP4" of one second.
class MediaBoard {
 public:
  MediaBoard();

  void ask(const support::Frame& frame);
  // Asks for the file until it has come; ends the bench when it does not.
  void download(uint8_t kind, const std::string& name);
  pid_t pid() { return maintask_.process().pid(); }

  support::PeerLink peer;
  PeerPort application{kApplicationPort};

 private:
  struct Camera {
    Camera();
    support::CameraFake service;
  };
  Camera camera_;
  support::RunningMaintask maintask_;
};

}  // namespace bench
