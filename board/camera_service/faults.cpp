#include "camera_service/faults.h"

#include <algorithm>
#include <utility>

namespace camera_service {

void Faults::add(FaultRule rule) {
  std::erase_if(rules_, [&rule](const FaultRule& old) {
    return old.fault == rule.fault && old.msg_id == rule.msg_id && old.type == rule.type;
  });
  if (rule.times != 0) rules_.push_back(std::move(rule));
}

std::optional<FaultRule> Faults::take(Fault fault, int msg_id, std::string_view type) {
  for (const std::optional<int>& wanted : {std::optional<int>(msg_id), std::optional<int>()}) {
    const auto found = std::find_if(rules_.begin(), rules_.end(), [&](const FaultRule& rule) {
      return rule.fault == fault && rule.msg_id == wanted && rule.type == type;
    });
    if (found == rules_.end()) continue;
    FaultRule rule = *found;
    if (found->times != kAlways && --found->times == 0) rules_.erase(found);
    return rule;
  }
  return std::nullopt;
}

}  // namespace camera_service
