// Whose firmware is to be updated: this board's, or that of another one whose image lies on the
// card. Any thread may call; the set of pending images is one relaxed atomic word.
#pragma once

#include <cstdint>

#include "flightlink/frame/firmware_codes.h"

namespace flightlink {

// Start-up: looks which images are on the card.
void firmware_init();

// The board that is next: the first pending one in the order gimbal, flight controller, repeater;
// this one when no image is pending.
[[nodiscard]] uint8_t firmware_board_type();

// One bit per pending image: gimbal 0x80, flight controller 0x08, repeater 0x20.
[[nodiscard]] uint32_t firmware_board_mask();

// Clears the board's bit.
void firmware_board_done(uint8_t type);

// The board's image on the card; null for a type without one.
[[nodiscard]] const char* firmware_image_path(uint8_t type);

}  // namespace flightlink
