#include "support/camera_fake.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "support/loopback.h"

namespace support {

CameraFake::CameraFake() {
  listen_now();
  server_ = std::thread([this] { serve(); });
}

CameraFake::~CameraFake() {
  stop_ = true;
  server_.join();
}

void CameraFake::listen_now() {
  base::Descriptor socket = listen_on_loopback(7878);
  const std::lock_guard lock(mutex_);
  listener_ = std::move(socket);
}

void CameraFake::serve() {
  while (!stop_) {
    std::array<pollfd, 2> inputs{};
    {
      const std::lock_guard lock(mutex_);
      inputs = {pollfd{listener_.get(), POLLIN, 0}, pollfd{connection_.get(), POLLIN, 0}};
    }
    poll(inputs.data(), inputs.size(), 2);
    if (inputs[1].revents != 0 && reads_) take_text();
    if (inputs[0].revents != 0) take_connection();
  }
}

void CameraFake::take_connection() {
  const std::lock_guard lock(mutex_);
  if (!listener_.open()) return;
  base::Descriptor accepted(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!accepted.open()) return;
  connection_ = std::move(accepted);
  connections_++;
  arrived_.notify_all();
}

void CameraFake::take_text() {
  std::array<char, 65536> buffer;
  const std::lock_guard lock(mutex_);
  if (!connection_.open()) return;
  const ssize_t got = recv(connection_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (got < 0 && errno == EAGAIN) return;
  if (got <= 0) {
    connection_.reset();
    return;
  }
  texts_.push_back(
      {std::string(buffer.data(), static_cast<size_t>(got)), connections_, Clock::now()});
  for (const auto& [request, reply] : answers_) {
    if (!reply.empty() && texts_.back().text.find(request) != std::string::npos) {
      ::send(connection_.get(), reply.data(), reply.size(), MSG_NOSIGNAL);
    }
  }
  arrived_.notify_all();
}

void CameraFake::answer(const std::string& request, const std::string& reply) {
  const std::lock_guard lock(mutex_);
  for (auto& rule : answers_) {
    if (rule.first == request) {
      rule.second = reply;
      return;
    }
  }
  answers_.emplace_back(request, reply);
}

void CameraFake::forget_answers() {
  const std::lock_guard lock(mutex_);
  answers_.clear();
}

void CameraFake::answer_session() {
  answer("\"msg_id\":257,", R"({"rval":0,"msg_id":257,"param":7})");
  answer(R"("type":"shutter_time"})",
         R"({"rval":0,"msg_id":1,"type":"shutter_time","param":"1/30"})");
  answer("\"msg_id\":4097,", R"({"rval":0,"msg_id":4097})");
  answer(R"("type":"total"})", R"({"rval":0,"msg_id":5,"param":8388608})");
  answer(R"("type":"free"})", R"({"rval":0,"msg_id":5,"param":4194304})");
}

bool CameraFake::send(std::string_view bytes) {
  const std::lock_guard lock(mutex_);
  return connection_.open() && ::send(connection_.get(), bytes.data(), bytes.size(),
                                      MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

void CameraFake::drop() {
  const std::lock_guard lock(mutex_);
  connection_.reset();
}

void CameraFake::pause() {
  const std::lock_guard lock(mutex_);
  listener_.reset();
}

void CameraFake::resume() { listen_now(); }

int CameraFake::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}

std::vector<CameraText> CameraFake::texts() const {
  const std::lock_guard lock(mutex_);
  return texts_;
}

size_t CameraFake::mark() const {
  const std::lock_guard lock(mutex_);
  return texts_.size();
}

std::optional<CameraText> CameraFake::wait_for(std::string_view part, milliseconds limit,
                                               size_t mark) {
  return wait_for_item<CameraText>(
      mutex_, arrived_, texts_,
      [part](const CameraText& text) { return text.text.find(part) != std::string::npos; }, limit,
      mark);
}

size_t CameraFake::count(std::string_view part, size_t mark) const {
  const std::lock_guard lock(mutex_);
  return static_cast<size_t>(
      std::count_if(texts_.begin() + static_cast<std::ptrdiff_t>(mark), texts_.end(),
                    [&](const CameraText& t) { return t.text.find(part) != std::string::npos; }));
}

}  // namespace support
