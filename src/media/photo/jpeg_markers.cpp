#include "media/photo/jpeg_markers.h"

namespace media {
namespace {

struct Row {
  uint32_t marker;
  const char* name;
  const char* description;
};

constexpr Row kRows[] = {
    {0xC0, "SOF0", "Encoding (baseline)"},
    {0xC1, "SOF1", "Encoding (extended sequential)"},
    {0xC2, "SOF2", "Encoding (progressive)"},
    {0xC3, "SOF3", "Encoding (lossless)"},
    {0xC4, "DHT", "Define Huffman table(s)"},
    {0xC5, "SOF5", "Encoding (differential sequential)"},
    {0xC6, "SOF6", "Encoding (differential progressive)"},
    {0xC7, "SOF7", "Encoding (differential lossless)"},
    {0xC8, "JPG", "Reserved for JPEG extensions"},
    {0xC9, "SOF9", "Encoding (extended sequential, arithmetic)"},
    {0xCA, "SOF10", "Encoding (progressive, arithmetic)"},
    {0xCB, "SOF11", "Encoding (lossless, arithmetic)"},
    {0xCC, "DAC", "Define arithmetic coding conditioning(s)"},
    {0xCD, "SOF13", "Encoding (differential sequential, arithmetic)"},
    {0xCE, "SOF14", "Encoding (differential progressive, arithmetic)"},
    {0xCF, "SOF15", "Encoding (differential lossless, arithmetic)"},
    {0xD0, "RST0", "Restart with modulo 8 count 0"},
    {0xD1, "RST1", "Restart with modulo 8 count 1"},
    {0xD2, "RST2", "Restart with modulo 8 count 2"},
    {0xD3, "RST3", "Restart with modulo 8 count 3"},
    {0xD4, "RST4", "Restart with modulo 8 count 4"},
    {0xD5, "RST5", "Restart with modulo 8 count 5"},
    {0xD6, "RST6", "Restart with modulo 8 count 6"},
    {0xD7, "RST7", "Restart with modulo 8 count 7"},
    {0xD8, "SOI", "Start of image"},
    {0xD9, "EOI", "End of image"},
    {0xDA, "SOS", "Start of scan"},
    {0xDB, "DQT", "Define quantization table(s)"},
    {0xDC, "DNL", "Define number of lines"},
    {0xDD, "DRI", "Define restart interval"},
    {0xDE, "DHP", "Define hierarchical progression"},
    {0xDF, "EXP", "Expand reference component(s)"},
    {0xE0, "APP0", "Reserved for application segments"},
    {0xE1, "APP1", "Reserved for application segments"},
    {0xE2, "APP2", "Reserved for application segments"},
    {0xE3, "APP3", "Reserved for application segments"},
    {0xE4, "APP4", "Reserved for application segments"},
    {0xE5, "APP5", "Reserved for application segments"},
    {0xE6, "APP6", "Reserved for application segments"},
    {0xE7, "APP7", "Reserved for application segments"},
    {0xE8, "APP8", "Reserved for application segments"},
    {0xE9, "APP9", "Reserved for application segments"},
    {0xEA, "APP10", "Reserved for application segments"},
    {0xEB, "APP11", "Reserved for application segments"},
    {0xEC, "APP12", "Reserved for application segments"},
    {0xED, "APP13", "Reserved for application segments"},
    {0xEE, "APP14", "Reserved for application segments"},
    {0xEF, "APP15", "Reserved for application segments"},
    {0xF0, "JPG0", "Reserved for JPEG extensions"},
    {0xF1, "JPG1", "Reserved for JPEG extensions"},
    {0xF2, "JPG2", "Reserved for JPEG extensions"},
    {0xF3, "JPG3", "Reserved for JPEG extensions"},
    {0xF4, "JPG4", "Reserved for JPEG extensions"},
    {0xF5, "JPG5", "Reserved for JPEG extensions"},
    {0xF6, "JPG6", "Reserved for JPEG extensions"},
    {0xF7, "JPG7", "Reserved for JPEG extensions"},
    {0xF8, "JPG8", "Reserved for JPEG extensions"},
    {0xF9, "JPG9", "Reserved for JPEG extensions"},
    {0xFA, "JPG10", "Reserved for JPEG extensions"},
    {0xFB, "JPG11", "Reserved for JPEG extensions"},
    {0xFC, "JPG12", "Reserved for JPEG extensions"},
    {0xFD, "JPG13", "Reserved for JPEG extensions"},
    {0xFE, "COM", "Comment"},
    {0x01, "TEM", "For temporary private use in arithmetic coding"},
    {0, nullptr, nullptr},
};

const Row& find_row(uint32_t marker) {
  const Row* row = kRows;
  while (row->name != nullptr && row->marker != marker) row++;
  return *row;
}

}  // namespace

const char* jpeg_marker_get_name(uint32_t marker) { return find_row(marker).name; }

const char* jpeg_marker_get_description(uint32_t marker) { return find_row(marker).description; }

}  // namespace media
