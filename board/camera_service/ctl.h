// The client side of the control socket.
#pragma once

#include <string>

namespace camera_service {

// Sends one line to the service that listens on that path and waits for the answer: its lines go to
// standard output, an error to standard error. Returns the exit status: 0 when the command was
// carried out, 1 when it was refused, 2 when nobody listens or the service went away.
[[nodiscard]] int run_ctl(const std::string& path, const std::string& line);

}  // namespace camera_service
