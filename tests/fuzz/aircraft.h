// The camera module around a fuzz target: every record as at program start, the video flows, the
// camera service, the peer and the application are connected by wires. What is sent on them, and
// every shell command, is checked.
#pragma once

#include <functional>
#include <string>

#include "fuzz/messages.h"
#include "fuzz/support.h"

namespace fuzz {

// Before each input. Folders of the card are not made.
void reset_aircraft();
// The camera service's connection, with a session; lost or not.
void connect_camera();
void disconnect_camera();

// Called for a shell command, once it has been checked.
using Command = std::function<void(const std::string& command)>;
void on_command(Command command);
// Called in every pause of the program, which does not wait.
void on_pause(std::function<void()> pause);

}  // namespace fuzz
