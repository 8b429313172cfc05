// Capture files (pcap, as tcpdump writes and Wireshark reads them) of IPv4 packets, and the UDP
// datagrams in them.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/descriptor.h"

namespace groundstation {

// Times are microseconds since the epoch. One thread per object.
class PcapWriter {
 public:
  // A file that is there is kept unless `replace` is set. Returns an empty text, or why it cannot be
  // done.
  [[nodiscard]] std::string open(const std::string& path, bool replace);
  [[nodiscard]] bool is_open() const { return file_.open(); }

  // A packet from its IPv4 header on. After a failed write nothing more is written; what is there
  // ends with a whole packet.
  void packet(uint64_t at_us, std::span<const uint8_t> bytes);
  // The packet that such a datagram travels in.
  void datagram(uint64_t at_us, const sockaddr_in& from, const sockaddr_in& to,
                std::span<const uint8_t> bytes);

  [[nodiscard]] uint64_t packets() const { return packets_; }
  // Empty as long as everything could be written.
  [[nodiscard]] const std::string& trouble() const { return trouble_; }

 private:
  bool write(std::span<const uint8_t> bytes);

  std::string path_;
  base::Descriptor file_;
  uint64_t size_ = 0;
  uint64_t packets_ = 0;
  uint16_t identification_ = 0;
  std::string trouble_;
  std::vector<uint8_t> record_;
};

struct PcapPacket {
  uint64_t at_us;
  std::vector<uint8_t> bytes;  // from the IPv4 header on; may be cut
};

class PcapReader {
 public:
  // Returns an empty text, or why it cannot be read: also when it is no such file, or of a kind of
  // network that holds no IPv4 packets.
  [[nodiscard]] std::string open(const std::string& path);
  // The next IPv4 packet; nothing at the end. A file that is cut ends at its last whole packet.
  [[nodiscard]] std::optional<PcapPacket> next();

 private:
  [[nodiscard]] uint32_t number(const uint8_t* at) const;

  base::File file_;
  bool swapped_ = false;
  bool nanoseconds_ = false;
  uint32_t network_ = 0;
};

struct UdpDatagram {
  sockaddr_in from;
  sockaddr_in to;
  std::span<const uint8_t> bytes;
};

// The datagram in an IPv4 packet; nothing for another protocol, a part of a datagram that was sent
// in several, or a packet that is cut.
[[nodiscard]] std::optional<UdpDatagram> udp_datagram(std::span<const uint8_t> packet);

}  // namespace groundstation
