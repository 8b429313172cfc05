// The step file on the card: one letter that tells how far a firmware update has come, for whoever
// starts next. Any thread may call; the file belongs to the update that runs.
#pragma once

#include <cstdint>

namespace flightlink {

inline constexpr const char* kFirmwareStepFile = "/tmp/SD0/fwstep";

inline constexpr int32_t kStepTransfer = 2;  // chunks are being received
inline constexpr int32_t kStepReceived = 3;  // the image is complete and its MD5 is good
inline constexpr int32_t kStepNoFile = 7;

// Writes the file anew: the step's letter and nothing else. Returns 0, or -1 when the card refuses.
int32_t fw_step_set(int32_t step);
// The step whose letter is in the file; 0 for an unknown letter, 7 when there is no file.
int32_t fw_step_get();
// Removes the file. Nothing in this process asks for it: after an update the letter stays.
void fw_step_delete();

}  // namespace flightlink
