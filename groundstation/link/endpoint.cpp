#include "groundstation/link/endpoint.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <charconv>

namespace groundstation {

std::optional<sockaddr_in> parse_endpoint(const std::string& text, uint16_t default_port) {
  sockaddr_in endpoint{};
  endpoint.sin_family = AF_INET;
  uint16_t port = default_port;
  const size_t colon = text.find(':');
  if (colon != std::string::npos) {
    const char* begin = text.data() + colon + 1;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, port);
    if (error != std::errc{} || stop != end) return std::nullopt;
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
