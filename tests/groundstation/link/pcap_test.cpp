#include "groundstation/link/pcap.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "base/bytes.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using groundstation::endpoint_text;
using groundstation::parse_endpoint;
using groundstation::PcapReader;
using groundstation::PcapWriter;
using groundstation::udp_datagram;
using ::testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

struct CaptureFile : OwnPath {
  CaptureFile() : OwnPath("trace.pcap") {}
};

// The file header (magic, 2.4, 0, 0, 262144, raw IPv4), then second 5, microsecond 7, 31 bytes twice,
// then 192.168.31.111:8888 to 192.168.31.1:8857, "abc". The words of the IPv4 header without their
// checksum add up to 284F0: 84F2 with the carry, and 7B0D is its complement.
const Bytes kFile = {0xD4, 0xC3, 0xB2, 0xA1, 2,   0,   4,    0, 0,   0,   0,    0,
                     0,    0,    0,    0,    0,   0,   4,    0, 101, 0,   0,    0,  //
                     5,    0,    0,    0,    7,   0,   0,    0, 31,  0,   0,    0,
                     31,   0,    0,    0,  //
                     0x45, 0,    0,    31,   0,   0,   0x40, 0, 64,  17,  0x7B, 0x0D,
                     192,  168,  31,   111,  192, 168, 31,   1,  //
                     0x22, 0xB8, 0x22, 0x99, 0,   11,  0,    0, 'a', 'b', 'c'};

const Bytes kPacket(kFile.begin() + 40, kFile.end());

void write_capture(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

TEST(PcapWriter, WritesADatagramAsAPacket) {
  CaptureFile file;
  PcapWriter writer;
  ASSERT_EQ(writer.open(file.path, false), "");
  const Bytes text{'a', 'b', 'c'};
  writer.datagram(5'000'007, *parse_endpoint("192.168.31.111:8888", 0),
                  *parse_endpoint("192.168.31.1:8857", 0), text);
  EXPECT_EQ(writer.packets(), 1U);
  EXPECT_EQ(writer.trouble(), "");
  const std::string written = read_file(file.path);
  EXPECT_EQ(Bytes(written.begin(), written.end()), kFile);
}

TEST(PcapWriter, KeepsAFileThatIsThere) {
  CaptureFile file;
  write_capture(file.path, {1, 2, 3});
  EXPECT_THAT(PcapWriter().open(file.path, false), HasSubstr("exists already"));
  EXPECT_EQ(read_file(file.path).size(), 3U);
  EXPECT_EQ(PcapWriter().open(file.path, true), "");
  EXPECT_EQ(read_file(file.path).size(), 24U);
}

TEST(PcapWriter, SaysThatTheDiskIsFull) {
  PcapWriter writer;
  EXPECT_THAT(writer.open("/dev/full", true), HasSubstr("No space left"));
}

TEST(PcapReader, ReadsWhatTheWriterWrites) {
  CaptureFile file;
  write_capture(file.path, kFile);
  PcapReader reader;
  ASSERT_EQ(reader.open(file.path), "");
  const auto packet = reader.next();
  ASSERT_TRUE(packet.has_value());
  EXPECT_EQ(packet->at_us, 5'000'007U);
  EXPECT_EQ(packet->bytes, kPacket);
  EXPECT_FALSE(reader.next().has_value());
}

// Of other machines (highest byte first), of nanoseconds, and of networks that have a header of
// their own in front.
TEST(PcapReader, ReadsTheOtherKindsOfFiles) {
  struct Row {
    uint32_t magic;
    bool big;
    uint32_t network;
    size_t header;
    int protocol_at;
    uint32_t part;  // of the second
  };
  const Row rows[] = {{0xA1B2C3D4, true, 101, 0, -1, 7},
                      {0xA1B23C4D, false, 228, 0, -1, 7000},
                      {0xA1B2C3D4, false, 1, 14, 12, 7},
                      {0xA1B2C3D4, false, 113, 16, 14, 7},
                      {0xA1B23C4D, true, 276, 20, 0, 7000}};
  for (const Row& row : rows) {
    Bytes bytes;
    const auto add = [&](uint32_t value) {
      uint8_t word[4];
      base::store_u32le(word, row.big ? __builtin_bswap32(value) : value);
      bytes.insert(bytes.end(), word, word + 4);
    };
    for (const uint32_t value : {row.magic, 0U, 0U, 0U, 65535U, row.network}) add(value);
    // One of another protocol in front.
    for (const int protocol : {0x86DD, 0x0800}) {
      if (row.protocol_at < 0 && protocol != 0x0800) continue;
      const auto size = static_cast<uint32_t>(row.header + kPacket.size());
      for (const uint32_t value : {5U, row.part, size, size}) add(value);
      Bytes header(row.header);
      if (row.protocol_at >= 0) {
        header[static_cast<size_t>(row.protocol_at)] = static_cast<uint8_t>(protocol >> 8);
        header[static_cast<size_t>(row.protocol_at) + 1] = static_cast<uint8_t>(protocol);
      }
      bytes.insert(bytes.end(), header.begin(), header.end());
      bytes.insert(bytes.end(), kPacket.begin(), kPacket.end());
    }
    CaptureFile file;
    write_capture(file.path, bytes);
    PcapReader reader;
    ASSERT_EQ(reader.open(file.path), "") << row.network;
    const auto packet = reader.next();
    ASSERT_TRUE(packet.has_value()) << row.network;
    EXPECT_EQ(packet->at_us, 5'000'007U) << row.network;
    EXPECT_EQ(packet->bytes, kPacket) << row.network;
    EXPECT_FALSE(reader.next().has_value()) << row.network;
  }
}

TEST(PcapReader, RefusesWhatItCannotRead) {
  CaptureFile file;
  EXPECT_THAT(PcapReader().open(file.path), HasSubstr("No such file"));
  EXPECT_THAT(PcapReader().open("/tmp"), HasSubstr("cannot read /tmp: Is a directory"));
  write_capture(file.path, {});
  EXPECT_THAT(PcapReader().open(file.path), HasSubstr("is no pcap file"));
  Bytes other = kFile;
  other[0] = 0;
  write_capture(file.path, other);
  EXPECT_THAT(PcapReader().open(file.path), HasSubstr("is no pcap file"));
  write_capture(file.path, {0x0A, 0x0D, 0x0D, 0x0A, 0, 0, 0, 0});
  EXPECT_THAT(PcapReader().open(file.path), HasSubstr("is a pcapng file"));
  other = kFile;
  other[20] = 105;
  write_capture(file.path, other);
  EXPECT_THAT(PcapReader().open(file.path), HasSubstr("kind of network (105)"));
}

TEST(PcapReader, EndsAtTheLastWholePacketOfAFileThatIsCut) {
  Bytes twice = kFile;
  twice.insert(twice.end(), kFile.begin() + 24, kFile.end());
  for (size_t size = kFile.size(); size < twice.size(); size++) {
    CaptureFile file;
    write_capture(file.path, {twice.begin(), twice.begin() + static_cast<ptrdiff_t>(size)});
    PcapReader reader;
    ASSERT_EQ(reader.open(file.path), "");
    EXPECT_TRUE(reader.next().has_value()) << size;
    EXPECT_FALSE(reader.next().has_value()) << size;
  }
}

TEST(PcapReader, RefusesAnAbsurdLength) {
  Bytes bytes = kFile;
  bytes[35] = 0x80;
  CaptureFile file;
  write_capture(file.path, bytes);
  PcapReader reader;
  ASSERT_EQ(reader.open(file.path), "");
  EXPECT_FALSE(reader.next().has_value());
}

TEST(UdpDatagram, IsFoundInAPacket) {
  const auto datagram = udp_datagram(kPacket);
  ASSERT_TRUE(datagram.has_value());
  EXPECT_EQ(endpoint_text(datagram->from), "192.168.31.111:8888");
  EXPECT_EQ(endpoint_text(datagram->to), "192.168.31.1:8857");
  EXPECT_EQ(Bytes(datagram->bytes.begin(), datagram->bytes.end()), (Bytes{'a', 'b', 'c'}));
}

TEST(UdpDatagram, ALongerHeaderIsPassedOver) {
  Bytes packet = kPacket;
  packet[0] = 0x46;
  packet.insert(packet.begin() + 20, {1, 1, 1, 1});
  EXPECT_EQ(udp_datagram(packet)->bytes.size(), 3U);
}

TEST(UdpDatagram, NothingInOtherPackets) {
  for (const auto& [at, value] : {std::pair<size_t, uint8_t>{0, 0x65},  // another version
                                  {0, 0x44},                            // too short a header
                                  {9, 6},                               // TCP
                                  {6, 0x20},                            // more parts follow
                                  {7, 1},                               // a later part
                                  {25, 12},                             // longer than the packet
                                  {25, 7}}) {                           // shorter than its header
    Bytes packet = kPacket;
    packet[at] = value;
    EXPECT_FALSE(udp_datagram(packet).has_value()) << at;
  }
  for (size_t size = 0; size < kPacket.size(); size++) {
    EXPECT_FALSE(udp_datagram(std::span(kPacket).first(size)).has_value()) << size;
  }
}

}  // namespace
}  // namespace groundstation_test
