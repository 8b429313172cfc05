#include "camera_service/service.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "camera_service/say.h"

namespace camera_service {
namespace {

constexpr size_t kLogEntries = 20'000;

std::string printable(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    if (c >= 0x20 && c < 0x7F) {
      text += c;
    } else {
      text += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
    }
  }
  return text;
}

std::string to_text(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// In the order of Fault.
constexpr std::array kFaultNames = {"rval", "answer", "delay", "split", "mute", "refuse"};

const char* fault_name(Fault fault) { return kFaultNames.at(static_cast<size_t>(fault)); }

}  // namespace

Service::Service(Loop& loop, uint16_t port, const std::string& card_root)
    : loop_(loop),
      card_(card_root),
      server_(loop, port,
              {[this](uint64_t at_us, const JsonCutter::Piece& piece) { received(at_us, piece); },
               [this] {
                 connections_++;
                 say("client {} connected", connections_);
               },
               [this] {
                 say("client {} gone", connections_);
                 camera_.client_gone();
               }}),
      camera_(loop, card_,
              {[this](int msg_id, int rval, const Json& more) { reply(msg_id, rval, more); },
               [this](int notify_id, const std::string& param) { notify(notify_id, param); }}) {}

bool Service::open() {
  if (!card_.prepare()) {
    say("cannot create the folders of the card");
    return false;
  }
  if (!server_.open()) {
    say("cannot listen on 127.0.0.1:{}: {}", server_.port(), std::strerror(errno));
    return false;
  }
  return true;
}

void Service::send(std::string_view bytes) {
  say("> {}", printable(bytes));
  server_.send(bytes);
}

void Service::notify(int notify_id, const std::string& param) {
  Json notification = {{"notify_id", notify_id}};
  if (!param.empty()) notification["param"] = param;
  send(to_text(notification));
}

void Service::received(uint64_t at_us, const JsonCutter::Piece& piece) {
  log_.push_back({at_us, printable(piece.text)});
  if (log_.size() > kLogEntries) log_.pop_front();
  say("< {}", log_.back().text);
  if (!piece.object) return;
  const Json request = Json::parse(piece.text, nullptr, false);
  const auto found = request.is_object() ? request.find("msg_id") : request.end();
  if (found == request.end() || !found->is_number_integer()) {
    say("that is no command");
    return;
  }
  const auto wide = found->get<int64_t>();
  if (!std::in_range<int>(wide)) return;
  const int msg_id = static_cast<int>(wide);
  if (const auto rule = faults_.take(Fault::kAnswer, msg_id)) {
    answer(msg_id, rule->text);
    return;
  }
  const std::string type = text_member(request, "type");
  auto forced = faults_.take(Fault::kRval, msg_id);
  if (!forced && !type.empty()) forced = faults_.take(Fault::kRefuse, msg_id, type);
  if (forced) {
    reply(msg_id, forced->value, type.empty() ? Json::object() : Json{{"type", type}});
  } else {
    camera_.handle(msg_id, request);
  }
}

void Service::reply(int msg_id, int rval, const Json& more) {
  Json object = {{"rval", rval}, {"msg_id", msg_id}};
  object.update(more);
  answer(msg_id, to_text(object));
}

void Service::answer(int msg_id, const std::string& text) {
  if (faults_.take(Fault::kMute, msg_id)) {
    say("muted: {}", printable(text));
    return;
  }
  const auto delay = faults_.take(Fault::kDelay, msg_id);
  if (!delay) {
    deliver(msg_id, text);
    return;
  }
  loop_.after_ms(static_cast<uint64_t>(delay->value), [this, msg_id, text, to = connections_] {
    // An answer for a client that has gone is not for the next one.
    if (to == connections_) deliver(msg_id, text);
  });
}

void Service::deliver(int msg_id, const std::string& text) {
  const auto split = faults_.take(Fault::kSplit, msg_id);
  if (!split) {
    send(text);
    return;
  }
  const size_t half = text.size() / 2;
  send(std::string_view(text).substr(0, half));
  say("> (after {} ms) {}", split->value, printable(text.substr(half)));
  server_.send(std::string_view(text).substr(half), static_cast<uint32_t>(split->value));
}

Json Service::state() const {
  Json state = {
      {"port", server_.port()}, {"connected", server_.connected()}, {"connections", connections_}};
  state.update(camera_.state());
  Json rules = Json::array();
  for (const FaultRule& rule : faults_.rules()) {
    rules.push_back({{"fault", fault_name(rule.fault)},
                     {"msg_id", rule.msg_id ? Json(*rule.msg_id) : Json("all")},
                     {"value", rule.value},
                     {"times", rule.times}});
    if (!rule.type.empty()) rules.back()["type"] = rule.type;
  }
  state["faults"] = rules;
  return state;
}

}  // namespace camera_service
