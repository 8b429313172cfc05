// A serial line: opening it and setting it up. The bridge to the flight controller and the
// factory's test mode share the line "/dev/ttyS1" and differ in two details, which are arguments.
// Any thread; nothing is kept between calls.
#pragma once

#include <termios.h>

namespace flightlink {

inline constexpr const char* kSerialLinePath = "/dev/ttyS1";
inline constexpr int kSerialLineSpeed = 115200;

// Input flags that parity 'O' or 'E' brings.
inline constexpr tcflag_t kParityInputBridge = INPCK;
inline constexpr tcflag_t kParityInputFactory = INPCK | ISTRIP;

// Opens the line for reading and writing, not as the controlling terminal, and leaves it blocking.
// The status flags are first set to `first_flags` (the bridge: O_NONBLOCK; the factory: 0), then to
// 0. Prints "open PATH success!", "fcntl=N" with the second result or "fcntl failed!", and whether
// standard input is a terminal. Returns the descriptor; -1 after perror("can't open seria
// port ttyS0").
[[nodiscard]] int serial_line_open(const char* path, int first_flags);

// Raw line: no input, output or local processing; VMIN and VTIME 0, so that a read never waits.
// `speed` 2400, 4800 or 115200, any other gives 9600. `data_bits` 7 or 8, any other 5. `parity` 'O'
// or 'E' with `parity_input` as input flags, any other none. `stop_bits` 2, any other one. Pending
// input is dropped and the settings hold at once. Returns 0 and prints "set done!"; -1 after
// perror("setup serial") or perror("com set error").
[[nodiscard]] int serial_line_set_opt(int fd, int speed, int data_bits, char parity, int stop_bits,
                                      tcflag_t parity_input);

}  // namespace flightlink
