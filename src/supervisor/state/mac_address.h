// The camera's own MAC address, as the application heartbeat carries it.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace supervisor {

// Zero until obtain_macaddr has run; no program calls it. Relaxed atomics.
extern std::array<std::atomic<uint8_t>, 6> camera_mac;

// Reads the address of the USB network interface through ifconfig into camera_mac and prints it.
// An interface that shows no address gives zeros; without a pipe to it camera_mac is left alone.
void obtain_macaddr();

// Zeros again; before any thread runs, and in tests.
void camera_mac_reset();

// One hexadecimal digit to its value; any other character prints a message and gives 0.
uint8_t a2x(char digit);

}  // namespace supervisor
