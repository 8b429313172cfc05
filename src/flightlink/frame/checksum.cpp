#include "flightlink/frame/checksum.h"

#include <array>
#include <cstddef>

#include "base/bytes.h"

namespace flightlink {
namespace {

struct CrcExtraRow {
  uint8_t msgid;
  uint8_t crc_extra;
};

constexpr CrcExtraRow kCrcExtraRows[] = {
    {0, 50},    {1, 124},   {2, 137},   {4, 237},   {5, 217},   {6, 104},   {7, 119},   {11, 89},
    {20, 214},  {21, 159},  {22, 49},   {23, 244},  {24, 24},   {25, 23},   {26, 170},  {27, 144},
    {28, 67},   {29, 115},  {30, 39},   {31, 246},  {32, 185},  {33, 104},  {34, 237},  {35, 244},
    {36, 222},  {37, 212},  {38, 9},    {39, 254},  {40, 230},  {41, 28},   {42, 28},   {43, 132},
    {44, 221},  {45, 232},  {46, 11},   {47, 153},  {48, 41},   {49, 39},   {50, 78},   {51, 30},
    {52, 221},  {53, 221},  {54, 15},   {55, 3},    {56, 150},  {57, 229},  {58, 132},  {59, 24},
    {61, 153},  {62, 183},  {63, 51},   {64, 59},   {65, 118},  {66, 148},  {67, 21},   {69, 243},
    {70, 124},  {73, 38},   {74, 20},   {75, 158},  {76, 152},  {77, 143},  {81, 106},  {82, 49},
    {83, 22},   {84, 143},  {85, 140},  {86, 5},    {87, 150},  {89, 231},  {90, 183},  {91, 63},
    {92, 54},   {100, 175}, {101, 102}, {102, 158}, {103, 208}, {104, 56},  {105, 93},  {106, 138},
    {107, 108}, {108, 32},  {109, 185}, {110, 84},  {111, 34},  {112, 174}, {113, 124}, {114, 237},
    {115, 4},   {116, 76},  {117, 128}, {118, 56},  {119, 116}, {120, 134}, {121, 237}, {122, 203},
    {123, 250}, {124, 87},  {125, 203}, {126, 220}, {127, 25},  {128, 226}, {129, 46},  {130, 29},
    {131, 223}, {132, 85},  {133, 6},   {134, 229}, {135, 203}, {136, 1},   {137, 195}, {138, 109},
    {139, 168}, {140, 181}, {141, 148}, {142, 72},  {146, 103}, {147, 154}, {148, 178}, {149, 200},
    {241, 90},  {242, 104}, {243, 85},  {244, 95},  {248, 8},   {249, 204}, {250, 49},  {251, 170},
    {252, 44},  {253, 83},  {254, 46},
};

constexpr std::array<uint8_t, 256> make_crc_extra_table() {
  std::array<uint8_t, 256> table{};
  for (const CrcExtraRow& row : kCrcExtraRows) table[row.msgid] = row.crc_extra;
  return table;
}

constexpr std::array<uint8_t, 256> kCrcExtra = make_crc_extra_table();

constexpr uint16_t checksum_step(uint8_t byte, uint16_t crc) {
  auto t = static_cast<uint8_t>(byte ^ (crc & 0xFF));
  t = static_cast<uint8_t>(t ^ (t << 4));
  return static_cast<uint16_t>((crc >> 8) ^ (t << 8) ^ (t << 3) ^ (t >> 4));
}

using SumTables = std::array<std::array<uint16_t, 256>, 4>;

// Row k holds what a byte adds to the sum k bytes further on.
constexpr SumTables make_sum_tables() {
  SumTables tables{};
  for (size_t byte = 0; byte < 256; byte++) {
    uint16_t sum = checksum_step(static_cast<uint8_t>(byte), 0);
    for (auto& row : tables) {
      row[byte] = sum;
      sum = checksum_step(0, sum);
    }
  }
  return tables;
}

constexpr SumTables kSum = make_sum_tables();

// What is summed stands in one piece: the header behind the start byte, then the payload.
constexpr size_t kSummedHeader = 5;
static_assert(offsetof(MavlinkMessage, payload) == offsetof(MavlinkMessage, len) + kSummedHeader);

}  // namespace

// Over that piece, four bytes a step, and the CRC extra byte.
uint16_t frame_checksum(const MavlinkMessage& frame, uint8_t crc_extra) {
  uint16_t crc = kChecksumStart;
  const auto* at = reinterpret_cast<const uint8_t*>(&frame) + offsetof(MavlinkMessage, len);
  const uint8_t* end = at + kSummedHeader + frame.len;
  for (; end - at >= 4; at += 4) {
    const auto mixed = static_cast<uint16_t>(crc ^ base::load_u16le(at));
    crc = static_cast<uint16_t>(kSum[3][mixed & 0xFF] ^ kSum[2][mixed >> 8] ^ kSum[1][at[2]] ^
                                kSum[0][at[3]]);
  }
  for (; at < end; at++) crc = checksum_step(*at, crc);
  return checksum_step(crc_extra, crc);
}

void crc_x25_accumulate(uint8_t byte, uint16_t* crc) { *crc = checksum_step(byte, *crc); }

uint8_t mavlink_crc_extra(uint8_t msgid) { return kCrcExtra[msgid]; }

}  // namespace flightlink
