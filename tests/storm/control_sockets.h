// The control sockets of the stand-ins, spoken to from within: a process for each line would cost
// more than what it asks for.
#pragma once

#include <string>

namespace storm {

// One line to the camera service. What it answers, its last line "ok" or "error: ..."; empty when
// it does not answer within two seconds.
std::string ask_service(const std::string& line);

// One line to the encoder's library, inside the program. Nobody tells whether it was carried out.
void tell_encoder(const std::string& line);

}  // namespace storm
