// Members of the camera service's messages: a member of the wrong type counts as missing.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <optional>

namespace camera {

struct JsonDeleter {
  void operator()(cJSON* object) const { cJSON_Delete(object); }
};
// Owns a parsed message.
using Json = std::unique_ptr<cJSON, JsonDeleter>;

[[nodiscard]] inline std::optional<int> number_member(const cJSON* object, const char* name) {
  const cJSON* member = cJSON_GetObjectItem(object, name);
  if (!cJSON_IsNumber(member)) return std::nullopt;
  return member->valueint;  // saturated by the parser
}

// Null when missing; otherwise owned by the object.
[[nodiscard]] inline const char* text_member(const cJSON* object, const char* name) {
  const cJSON* member = cJSON_GetObjectItem(object, name);
  return cJSON_IsString(member) ? member->valuestring : nullptr;
}

}  // namespace camera
