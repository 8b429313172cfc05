// IPv4 addresses with a port, as text and as the socket calls want them.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>

namespace groundstation {

// "ADDRESS" or "ADDRESS:PORT", ADDRESS in dotted decimal. Nothing when the text is neither.
[[nodiscard]] std::optional<sockaddr_in> parse_endpoint(const std::string& text,
                                                        uint16_t default_port);
// "ADDRESS:PORT"
[[nodiscard]] std::string endpoint_text(const sockaddr_in& endpoint);

}  // namespace groundstation
