#include "camera/send.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "base/text.h"
#include "camera/connection.h"
#include "camera/messages.h"

namespace camera {
namespace {

struct Command {
  char text[200];
  size_t length;
};

Command formatted(const char* format, va_list arguments) {
  Command command{};
  const int wanted = std::vsnprintf(command.text, sizeof(command.text), format, arguments);
  command.length = std::min(static_cast<size_t>(std::max(wanted, 0)), sizeof(command.text) - 1);
  return command;
}

int32_t idle_again_on_failure(uint32_t op, int32_t result) {
  if (op != kNoOp && result == kNotConnected) cam_set_op_state(kCamOpIdle);
  return result;
}

}  // namespace

int32_t cam_token() { return cam_json_context.Token.load(std::memory_order_relaxed); }

int32_t cam_send(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Command command = formatted(format, arguments);
  va_end(arguments);
  return a12_json_send(&cam_json_context, command.text, command.length);
}

int32_t cam_send_marked(Setting setting, int32_t msg_id, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Command command = formatted(format, arguments);
  va_end(arguments);
  base::Waiting* mark = mark_of(setting);
  return mark != nullptr ? cam_json_send_marked(command.text, command.length, *mark, msg_id)
                         : a12_json_send(&cam_json_context, command.text, command.length);
}

int32_t cam_send_plain(int32_t msg_id) {
  return cam_send("{\"msg_id\":%d,\"token\":%d}", msg_id, cam_token());
}

int32_t cam_send_set(Setting setting, const char* param) {
  return cam_send_marked(setting, kMsgSet,
                         "{\"msg_id\":%d,\"token\":%d,\"param\":\"%s\",\"type\":\"%s\"}", kMsgSet,
                         cam_token(), param, setting_row(setting).type);
}

int32_t cam_set(Setting setting, int32_t value, const char* param) {
  request(setting, value);
  const uint32_t op = setting_row(setting).set_op;
  if (op != kNoOp) cam_set_op_state(op);
  return idle_again_on_failure(op, cam_send_set(setting, param));
}

int32_t cam_set_number(Setting setting, int32_t value) {
  char text[12];
  base::format_text(text, "%d", value);
  return cam_set(setting, value, text);
}

int32_t cam_query(Setting setting) {
  const SettingRow& row = setting_row(setting);
  if (row.query_op != kNoOp) cam_set_op_state(row.query_op);
  return idle_again_on_failure(
      row.query_op, cam_send("{\"msg_id\":1,\"token\":%d,\"type\":\"%s\"}", cam_token(), row.type));
}

}  // namespace camera
