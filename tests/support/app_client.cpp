#include "support/app_client.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

namespace support {
namespace {

bool try_connect(int fd, const std::string& host, milliseconds limit) {
  fcntl(fd, F_SETFL, O_NONBLOCK);
  sockaddr_in board{};
  board.sin_family = AF_INET;
  board.sin_port = htons(8866);
  inet_pton(AF_INET, host.c_str(), &board.sin_addr);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&board), sizeof(board)) != 0) {
    pollfd connected{fd, POLLOUT, 0};
    if (poll(&connected, 1, static_cast<int>(limit.count())) != 1) return false;
  }
  int error = 0;
  socklen_t size = sizeof(error);
  getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
  fcntl(fd, F_SETFL, 0);
  return error == 0;
}

}  // namespace

AppClient::AppClient(Until until, int receive_buffer, milliseconds limit, const Station& from) {
  const bool reached = poll_until(
      [&] {
        ended_ = false;
        socket_ = from.open_socket(SOCK_STREAM);
        if (receive_buffer != 0) {
          setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof(receive_buffer));
        }
        if (!socket_.open() || !try_connect(socket_.get(), from.board, limit)) return false;
        return until == Until::kConnected || wait_for_bytes({}, seconds(2));
      },
      limit);
  ended_ = !reached;
  EXPECT_TRUE(reached || until == Until::kServedIfPossible)
      << "the application server did not answer";
}

bool AppClient::send_bytes(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 1) return false;
    bytes = bytes.subspan(static_cast<size_t>(sent));
  }
  return true;
}

bool AppClient::receive(milliseconds limit) {
  if (ended_) return false;
  pollfd readable{socket_.get(), POLLIN, 0};
  if (poll(&readable, 1, static_cast<int>(limit.count())) != 1) return true;
  uint8_t bytes[65536];
  const ssize_t got = recv(socket_.get(), bytes, sizeof(bytes), 0);
  if (got < 1) ended_ = true;
  if (got > 0) received_.insert(received_.end(), bytes, bytes + got);
  return !ended_;
}

bool AppClient::wait_for_bytes(std::span<const uint8_t> wanted, milliseconds limit) {
  const auto found = [&] {
    return !received_.empty() && std::search(received_.begin(), received_.end(), wanted.begin(),
                                             wanted.end()) != received_.end();
  };
  return poll_until([&] { return found() || !receive(milliseconds(20)) || found(); }, limit) &&
         found();
}

bool AppClient::wait_for_end(milliseconds limit) {
  return poll_until([&] { return !receive(milliseconds(20)); }, limit);
}

void AppClient::hang_up(bool reset) {
  const linger at_once{1, 0};
  if (reset) setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
  socket_.reset();
  ended_ = true;
}

}  // namespace support
