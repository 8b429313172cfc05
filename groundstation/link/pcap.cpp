#include "groundstation/link/pcap.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "base/bytes.h"

namespace groundstation {
namespace {

constexpr uint32_t kMagicMicroseconds = 0xA1B2C3D4;
constexpr uint32_t kMagicNanoseconds = 0xA1B23C4D;
constexpr uint32_t kMagicNextGeneration = 0x0A0D0D0A;
constexpr size_t kFileHeader = 24;
constexpr size_t kRecordHeader = 16;
constexpr uint32_t kLongestPacket = 262144;
constexpr size_t kIpHeader = 20;
constexpr size_t kUdpHeader = 8;
constexpr uint8_t kUdp = 17;

// Kinds of network: what stands before the IPv4 header, and where two bytes say that it is one.
constexpr uint32_t kRawNetwork = 101;
struct Network {
  uint32_t number;
  size_t header;
  int protocol_at;  // -1: nothing but IP
};
constexpr Network kNetworks[] = {
    {1, 14, 12}, {kRawNetwork, 0, -1}, {113, 16, 14}, {228, 0, -1}, {276, 20, 0}};

const Network* network_of(uint32_t number) {
  for (const Network& network : kNetworks) {
    if (network.number == number) return &network;
  }
  return nullptr;
}

uint16_t big16(const uint8_t* at) { return static_cast<uint16_t>(at[0] << 8 | at[1]); }

void store_big16(uint8_t* at, size_t value) {
  at[0] = static_cast<uint8_t>(value >> 8);
  at[1] = static_cast<uint8_t>(value);
}

uint16_t header_checksum(const uint8_t* header) {
  uint32_t sum = 0;
  for (size_t i = 0; i < kIpHeader; i += 2) sum += big16(header + i);
  sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~(sum + (sum >> 16)));
}

}  // namespace

std::string PcapWriter::open(const std::string& path, bool replace) {
  path_ = path;
  const int how = replace ? O_TRUNC : O_EXCL;
  file_.reset(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | how, 0666));
  if (!file_.open()) {
    return errno == EEXIST ? fmt::format("{} exists already", path)
                           : fmt::format("cannot write {}: {}", path, std::strerror(errno));
  }
  uint8_t header[kFileHeader] = {};
  base::store_u32le(header, kMagicMicroseconds);
  base::store_u16le(header + 4, 2);
  base::store_u16le(header + 6, 4);
  base::store_u32le(header + 16, kLongestPacket);
  base::store_u32le(header + 20, kRawNetwork);
  write(header);
  return trouble_;
}

bool PcapWriter::write(std::span<const uint8_t> bytes) {
  if (!trouble_.empty() || !file_.open()) return false;
  const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
  if (written == static_cast<ssize_t>(bytes.size())) {
    size_ += bytes.size();
    return true;
  }
  trouble_ = fmt::format("cannot write {}: {}", path_, std::strerror(written < 0 ? errno : ENOSPC));
  if (::ftruncate(file_.get(), static_cast<off_t>(size_)) != 0) trouble_ += " (its end is damaged)";
  return false;
}

void PcapWriter::packet(uint64_t at_us, std::span<const uint8_t> bytes) {
  record_.assign(kRecordHeader, 0);
  base::store_u32le(record_.data(), static_cast<uint32_t>(at_us / 1'000'000));
  base::store_u32le(record_.data() + 4, static_cast<uint32_t>(at_us % 1'000'000));
  base::store_u32le(record_.data() + 8, static_cast<uint32_t>(bytes.size()));
  base::store_u32le(record_.data() + 12, static_cast<uint32_t>(bytes.size()));
  record_.insert(record_.end(), bytes.begin(), bytes.end());
  if (write(record_)) packets_++;
}

void PcapWriter::datagram(uint64_t at_us, const sockaddr_in& from, const sockaddr_in& to,
                          std::span<const uint8_t> bytes) {
  std::vector<uint8_t> whole(kIpHeader + kUdpHeader);
  uint8_t* ip = whole.data();
  ip[0] = 0x45;
  store_big16(ip + 2, kIpHeader + kUdpHeader + bytes.size());
  store_big16(ip + 4, identification_++);
  ip[6] = 0x40;  // in one piece
  ip[8] = 64;
  ip[9] = kUdp;
  std::memcpy(ip + 12, &from.sin_addr, 4);
  std::memcpy(ip + 16, &to.sin_addr, 4);
  store_big16(ip + 10, header_checksum(ip));
  uint8_t* udp = ip + kIpHeader;
  std::memcpy(udp, &from.sin_port, 2);
  std::memcpy(udp + 2, &to.sin_port, 2);
  store_big16(udp + 4, kUdpHeader + bytes.size());  // and no checksum
  whole.insert(whole.end(), bytes.begin(), bytes.end());
  packet(at_us, whole);
}

uint32_t PcapReader::number(const uint8_t* at) const {
  const uint32_t value = base::load_u32le(at);
  return swapped_ ? __builtin_bswap32(value) : value;
}

std::string PcapReader::open(const std::string& path) {
  file_.reset(std::fopen(path.c_str(), "rbe"));
  if (file_ == nullptr) return fmt::format("cannot read {}: {}", path, std::strerror(errno));
  uint8_t header[kFileHeader];
  const size_t size = std::fread(header, 1, sizeof header, file_.get());
  if (std::ferror(file_.get()) != 0) {
    return fmt::format("cannot read {}: {}", path, std::strerror(errno));
  }
  const uint32_t magic = size < 4 ? 0 : base::load_u32le(header);
  if (magic == kMagicNextGeneration) {
    return fmt::format("{} is a pcapng file: make a pcap file of it (editcap -F pcap)", path);
  }
  swapped_ = magic == __builtin_bswap32(kMagicMicroseconds) ||
             magic == __builtin_bswap32(kMagicNanoseconds);
  const uint32_t plain = swapped_ ? __builtin_bswap32(magic) : magic;
  nanoseconds_ = plain == kMagicNanoseconds;
  if (size < sizeof header || (plain != kMagicMicroseconds && !nanoseconds_)) {
    return fmt::format("{} is no pcap file", path);
  }
  network_ = number(header + 20) & 0xFFFF;
  if (network_of(network_) != nullptr) return "";
  return fmt::format("{} is of a kind of network ({}) that cannot be read here", path, network_);
}

std::optional<PcapPacket> PcapReader::next() {
  const Network& network = *network_of(network_);
  uint8_t header[kRecordHeader];
  while (std::fread(header, 1, sizeof header, file_.get()) == sizeof header) {
    const uint32_t size = number(header + 8);
    if (size > kLongestPacket) return std::nullopt;
    std::vector<uint8_t> bytes(size);
    if (std::fread(bytes.data(), 1, size, file_.get()) != size) return std::nullopt;
    if (size < network.header) continue;
    if (network.protocol_at >= 0 && big16(bytes.data() + network.protocol_at) != 0x0800) continue;
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(network.header));
    const uint64_t part = number(header + 4) / (nanoseconds_ ? 1000 : 1);
    return PcapPacket{uint64_t{number(header)} * 1'000'000 + part, std::move(bytes)};
  }
  return std::nullopt;
}

std::optional<UdpDatagram> udp_datagram(std::span<const uint8_t> packet) {
  if (packet.size() < kIpHeader || packet[0] >> 4 != 4 || packet[9] != kUdp) return std::nullopt;
  const size_t header = size_t{packet[0] & 15U} * 4;
  const bool in_parts = (big16(packet.data() + 6) & 0x3FFF) != 0;
  if (header < kIpHeader || in_parts || packet.size() < header + kUdpHeader) return std::nullopt;
  const uint8_t* udp = packet.data() + header;
  const size_t length = big16(udp + 4);
  if (length < kUdpHeader || packet.size() < header + length) return std::nullopt;
  UdpDatagram datagram{};
  datagram.from.sin_family = datagram.to.sin_family = AF_INET;
  std::memcpy(&datagram.from.sin_addr, packet.data() + 12, 4);
  std::memcpy(&datagram.to.sin_addr, packet.data() + 16, 4);
  std::memcpy(&datagram.from.sin_port, udp, 2);
  std::memcpy(&datagram.to.sin_port, udp + 2, 2);
  datagram.bytes = packet.subspan(header + kUdpHeader, length - kUdpHeader);
  return datagram;
}

}  // namespace groundstation
