#include "flightlink/actions/flight_log.h"

#include <cstring>

#include "base/bytes.h"
#include "base/text.h"
#include "flightlink/frame/messages.h"
#include "flightlink/frame/payload.h"
#include "supervisor/state/data_log.h"

namespace flightlink {
namespace {

constexpr size_t kFloats = 13;

struct Record {
  explicit Record(const Payload& payload) : time(base::load_u64le(payload.bytes)) {
    for (size_t i = 0; i < kFloats; i++) {
      value[i] = static_cast<double>(base::load_f32le(payload.bytes + 8 + 4 * i));
    }
  }
  unsigned long long time;
  double value[kFloats];
};

int write_line(int32_t kind, const char* line, size_t length) {
  return supervisor::data_log_write(kind, line, static_cast<int32_t>(length));
}

}  // namespace

int flight_log_105(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const Payload payload(*message);
  const Record record(payload);
  const double* v = record.value;
  char line[1024];
  const size_t length = base::format_text(
      line, "%llu,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%.5f,%u\n",
      record.time, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], v[12],
      static_cast<unsigned>(base::load_u16le(payload.bytes + 60)));
  return write_line(supervisor::kLogGimbal, line, length);
}

int flight_log_107_90(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  char line[1024] = "";
  size_t length = 0;
  // Message 90 hands over an empty line, on purpose: it is the place to decode it.
  if (message->msgid == kFlightData107.id) {
    const Payload payload(*message);
    const Record record(payload);
    const double* v = record.value;
    length = base::format_text(
        line, "%llu,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3d\n",
        record.time, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11],
        v[12], static_cast<int>(base::load_u32le(payload.bytes + 60)));
  }
  return write_line(supervisor::kLogFlightController, line, length);
}

}  // namespace flightlink
