// The device profile, sent to the phone application as a list of parameters.
#pragma once

namespace flightlink {

// On message 21: one message 22 per pair, in key order, 10 us apart. Message 22, 55 bytes, CRC
// extra 49, system id 36:
//   0: f32 0.0   4: u16 pairs   6: u16 index from 1   8: name, 16 bytes, at most 15 characters
//  24: value, 30 bytes, at most 29 characters   54: type 11
// Returns 0. Link threads; a profile that is loaded anew meanwhile does not disturb the walk.
int parameter_list_send();

}  // namespace flightlink
