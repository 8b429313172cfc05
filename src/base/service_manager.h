// What the service manager (systemd) is told: one datagram to the socket that it names in the environment. No
// library is needed for it, and nothing happens where no socket is named. Safe from any thread. Unit tests
// replace this (tests/fake_base).
#pragma once

#include <cstdint>

namespace base {

// How long the manager waits for a sign of life before it restarts the program, in microseconds; 0 when
// it does not wait, or waits for another process.
[[nodiscard]] uint64_t watchdog_limit_us();

// Tells "READY=1", "WATCHDOG=1" and the like. A manager that cannot take it at once is not told.
void tell_service_manager(const char* text);

}  // namespace base
