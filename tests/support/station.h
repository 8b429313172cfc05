// A machine in reach of the board, in a network namespace of its own.
#pragma once

#include <string>

#include "base/descriptor.h"

namespace support {

struct Station {
  std::string network;                 // path of its namespace
  std::string mac;                     // its address on the radio
  std::string board = "192.168.31.1";  // where it finds the board

  // A socket of that type (SOCK_STREAM, SOCK_DGRAM) in its network; closed, and errno set, when
  // there is none.
  [[nodiscard]] base::Descriptor open_socket(int type) const;
  // Runs a shell script in its network. Returns the exit status.
  [[nodiscard]] int run(const std::string& script) const;
  // Whether the board answers it. The first of the tries may be lost while addresses are learnt.
  [[nodiscard]] bool reaches_the_board() const;
};

// The peer's, 192.168.31.111, which every board has.
Station peer_station();

// Another one on the radio, 192.168.31.112. Once in a board; the test fails if it cannot be made.
Station add_second_station();

}  // namespace support
