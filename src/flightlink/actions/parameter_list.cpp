#include "flightlink/actions/parameter_list.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/bytes.h"
#include "base/clock.h"
#include "config/korvanprofile.h"
#include "flightlink/frame/messages.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

constexpr size_t kNameSize = 16;
constexpr size_t kValueSize = 30;
constexpr uint8_t kType = 11;

// The text, cut to leave a terminating zero; the rest of the field is zero already.
void put_text(uint8_t* field, size_t size, const char* text) {
  std::memcpy(field, text, std::min(std::strlen(text), size - 1));
}

}  // namespace

int parameter_list_send() {
  config::ProfileCopy profile = config::profile_shared_copy();
  uint16_t index = 0;
  while (const config::CclPair* pair = config::ccl_iterate(&profile.handle)) {
    index++;
    MavlinkMessage message{};
    base::store_f32le(message.payload, 0.0F);
    base::store_u16le(message.payload + 4, static_cast<uint16_t>(profile.pair_count));
    base::store_u16le(message.payload + 6, index);
    put_text(message.payload + 8, kNameSize, pair->key);
    put_text(message.payload + 24, kValueSize, pair->value);
    message.payload[54] = kType;
    finalize_app(&message, kParameterValue);
    peer_udp_send(&message);
    base::sleep_us(10);
  }
  return 0;
}

}  // namespace flightlink
