#include "camera_service/json_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/clock.h"
#include "camera_service/say.h"

namespace camera_service {
namespace {

// An object that is still unfinished after this long will never be finished.
constexpr uint64_t kStaleUs = 1'000'000;
constexpr uint64_t kReopenRetryMs = 200;

}  // namespace

JsonServer::JsonServer(Loop& loop, uint16_t port, Events events)
    : loop_(loop), port_(port), events_(std::move(events)), listener_(loop) {}

JsonServer::~JsonServer() { loop_.cancel(reopen_timer_); }

bool JsonServer::open() {
  base::Descriptor fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd.open()) return false;
  const int on = 1;
  ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port_);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof address;
  if (::bind(fd.get(), generic, length) != 0) return false;
  if (::getsockname(fd.get(), generic, &length) != 0) return false;
  port_ = ntohs(address.sin_port);
  return listener_.open(std::move(fd), 4,
                        [this](base::Descriptor client) { take_client(std::move(client)); });
}

void JsonServer::take_client(base::Descriptor fd) {
  drop();
  const int on = 1;
  ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  client_ = std::make_unique<Stream>(
      loop_, std::move(fd), [this](std::string_view bytes) { received(bytes); },
      [this] { drop(); });
  events_.connected();
}

void JsonServer::received(std::string_view bytes) {
  const uint64_t now = base::monotonic_us();
  if (now - last_input_us_ > kStaleUs) {
    if (std::string stale = cutter_.give_up(); !stale.empty())
      events_.piece(now, {false, std::move(stale)});
  }
  last_input_us_ = now;
  cutter_.feed(bytes);
  while (const auto piece = cutter_.next()) events_.piece(now, *piece);
}

void JsonServer::send(std::string_view bytes, uint32_t pause_ms) {
  if (client_) client_->send(bytes, pause_ms);
}

void JsonServer::drop() {
  if (!client_) return;
  client_.reset();
  [[maybe_unused]] const std::string unfinished = cutter_.give_up();
  events_.gone();
}

void JsonServer::restart(uint64_t ms) {
  drop();
  listener_.close();
  loop_.cancel(reopen_timer_);
  reopen_timer_ = loop_.after_ms(ms, [this] { reopen(); });
}

void JsonServer::reopen() {
  reopen_timer_ = 0;
  if (open()) {
    say("listening again on 127.0.0.1:{}", port_);
    return;
  }
  say("cannot listen on 127.0.0.1:{}: {}", port_, std::strerror(errno));
  reopen_timer_ = loop_.after_ms(kReopenRetryMs, [this] { reopen(); });
}

}  // namespace camera_service
