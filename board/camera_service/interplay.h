// Which settings go together: what the camera cannot do with what is set already.
#pragma once

#include <string_view>

#include "camera_service/settings.h"

namespace camera_service {

// Whether a value that its setting takes goes together with the others. The high rates (120P and
// 200P) need automatic exposure control, JPG photos and no low light; a fixed exposure of at least
// 5000 and a shutter of 1/200 or shorter. 60P needs no low light, and a shutter of 1/60 or shorter
// for shutter priority or when it is set. Low light needs 30P, automatic exposure control, JPG
// photos and no raw mode; raw mode needs no low light, and Max_Agc needs it. A time-lapse needs
// 1920x1080 30P, and with shutter priority a shutter of 1/30 or shorter.
[[nodiscard]] bool allowed_together(const Settings& settings, std::string_view type,
                                    std::string_view value);

}  // namespace camera_service
