#include "groundstation/link/replay.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "groundstation/link/camera_link.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/link/pcap.h"

namespace groundstation {
namespace {

constexpr uint16_t kLiveVideo = 8856;
constexpr uint16_t kMediaChannel = 8857;
constexpr size_t kIpSource = 12;
constexpr size_t kIpDestination = 16;

// Ports of the camera beside that of the link.
bool is_camera_port(uint16_t port) { return port == kMediaChannel || port == 8866 || port == 8867; }

bool same(const in_addr& a, const in_addr& b) { return a.s_addr == b.s_addr; }

std::optional<in_addr> camera_by_port(const UdpDatagram& datagram) {
  if (is_camera_port(ntohs(datagram.to.sin_port))) return datagram.to.sin_addr;
  const bool sends =
      ntohs(datagram.to.sin_port) == kLiveVideo || ntohs(datagram.from.sin_port) == kMediaChannel;
  if (sends) return datagram.from.sin_addr;
  return std::nullopt;
}

std::optional<in_addr> find_camera(const std::vector<PcapPacket>& packets, const in_addr& likely) {
  std::optional<in_addr> found;
  for (const PcapPacket& packet : packets) {
    const auto datagram = udp_datagram(packet.bytes);
    if (!datagram.has_value()) continue;
    if (same(datagram->to.sin_addr, likely) || same(datagram->from.sin_addr, likely)) return likely;
    if (!found.has_value()) found = camera_by_port(*datagram);
  }
  return found;
}

// Both sides may have the same address; then only the ports tell.
bool goes_to(const UdpDatagram& datagram, const sockaddr_in& camera) {
  if (!same(datagram.to.sin_addr, camera.sin_addr)) return false;
  return !same(datagram.from.sin_addr, camera.sin_addr) ||
         datagram.to.sin_port == camera.sin_port || is_camera_port(ntohs(datagram.to.sin_port));
}

size_t road_of(const UdpDatagram& datagram, std::vector<RecordedRoad>* roads) {
  const RecordedRoad wanted{ntohs(datagram.from.sin_port), ntohs(datagram.to.sin_port)};
  const auto road = std::find_if(roads->begin(), roads->end(), [&](const RecordedRoad& known) {
    return known.from_port == wanted.from_port && known.to_port == wanted.to_port;
  });
  if (road != roads->end()) return static_cast<size_t>(road - roads->begin());
  roads->push_back(wanted);
  return roads->size() - 1;
}

bool packet_goes_to(const PcapPacket& packet, const in_addr& camera) {
  return packet.bytes.size() >= kIpDestination + 4 &&
         std::memcmp(packet.bytes.data() + kIpDestination, &camera, 4) == 0 &&
         std::memcmp(packet.bytes.data() + kIpSource, &camera, 4) != 0;
}

}  // namespace

std::string read_recording(const std::string& path, const std::optional<sockaddr_in>& camera,
                           const sockaddr_in& likely, Recording* recording) {
  PcapReader reader;
  if (std::string trouble = reader.open(path); !trouble.empty()) return trouble;
  std::vector<PcapPacket> packets;
  while (auto packet = reader.next()) packets.push_back(std::move(*packet));
  // A file of several interfaces need not be in order.
  std::stable_sort(packets.begin(), packets.end(),
                   [](const PcapPacket& a, const PcapPacket& b) { return a.at_us < b.at_us; });
  recording->camera.sin_port = htons(kPeerPort);
  if (camera.has_value()) {
    recording->camera = *camera;
  } else if (const auto found = find_camera(packets, likely.sin_addr)) {
    recording->camera.sin_addr = *found;
  } else {
    return fmt::format(
        "{} does not tell which address is the camera's: name it with "
        "--recorded-camera",
        path);
  }
  uint64_t first_us = 0;
  for (const PcapPacket& packet : packets) {
    const auto datagram = udp_datagram(packet.bytes);
    if (!datagram.has_value()) {
      if (packet_goes_to(packet, recording->camera.sin_addr)) recording->left_out++;
      continue;
    }
    if (!goes_to(*datagram, recording->camera)) continue;
    if (recording->datagrams.empty()) first_us = packet.at_us;
    const size_t road = road_of(*datagram, &recording->roads);
    recording->roads[road].datagrams++;
    recording->datagrams.push_back(
        {packet.at_us - first_us, road, {datagram->bytes.begin(), datagram->bytes.end()}});
  }
  if (!recording->datagrams.empty()) return "";
  return fmt::format("{} holds no UDP datagram to the camera, {}", path,
                     endpoint_text(recording->camera));
}

}  // namespace groundstation
