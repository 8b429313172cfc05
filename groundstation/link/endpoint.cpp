#include "groundstation/link/endpoint.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include "groundstation/messages/whole_number.h"

namespace groundstation {

std::optional<sockaddr_in> parse_endpoint(const std::string& text, uint16_t default_port) {
  sockaddr_in endpoint{};
  endpoint.sin_family = AF_INET;
  uint16_t port = default_port;
  const size_t colon = text.find(':');
  if (colon != std::string::npos) {
    const auto given = whole_number<uint16_t>(std::string_view(text).substr(colon + 1));
    if (!given.has_value()) return std::nullopt;
    port = *given;
  }
  endpoint.sin_port = htons(port);
  if (::inet_pton(AF_INET, text.substr(0, colon).c_str(), &endpoint.sin_addr) != 1) {
    return std::nullopt;
  }
  return endpoint;
}

std::string endpoint_text(const sockaddr_in& endpoint) {
  char address[INET_ADDRSTRLEN] = "";
  ::inet_ntop(AF_INET, &endpoint.sin_addr, address, sizeof address);
  return fmt::format("{}:{}", address, ntohs(endpoint.sin_port));
}

}  // namespace groundstation
