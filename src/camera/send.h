// Formatting and sending of command texts: what every command function is made of.
// Any thread that holds no lock of the camera client.
#pragma once

#include <cstdint>

#include "camera/settings_table.h"

namespace camera {

inline constexpr int32_t kNotConnected = -2;  // result of a send

// Formats one command and sends it; text longer than the buffer is cut and sent with the cut
// length.
[[gnu::format(printf, 1, 2)]] int32_t cam_send(const char* format, ...);

// The same for a command of a setting; if that has a mark, it waits for the answer to `msg_id`.
[[gnu::format(printf, 3, 4)]] int32_t cam_send_marked(Setting setting, int32_t msg_id,
                                                      const char* format, ...);

// The session token of the next command.
[[nodiscard]] int32_t cam_token();

// {"msg_id":N,"token":T}
int32_t cam_send_plain(int32_t msg_id);
// {"msg_id":2,"token":T,"param":"P","type":"K"}
int32_t cam_send_set(Setting setting, const char* param);

// A whole set: stores the requested value, sets the setting's operation code if it has one, and
// sends. The camera is idle again when there is no connection: no answer would make it so.
int32_t cam_set(Setting setting, int32_t value, const char* param);
// The same with the value as decimal text.
int32_t cam_set_number(Setting setting, int32_t value);

// {"msg_id":1,"token":T,"type":"K"}, with the setting's query code.
int32_t cam_query(Setting setting);

}  // namespace camera
