// Fault rules: how the answers to one command, or to all, deviate. Loop thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace camera_service {

enum class Fault {
  kRval,    // value: the command is not carried out and answered with this rval and nothing more
  kAnswer,  // text: the command is not carried out and answered with this text, as it is
  kDelay,   // value: the answer leaves that many ms later
  kSplit,   // value: the answer leaves in two writes, that many ms apart
  kMute,    // the command is carried out, and no answer leaves
  kRefuse,  // the set of one type is not carried out and answered with this rval
};

struct FaultRule {
  Fault fault;
  std::optional<int> msg_id;  // nothing: every command
  int value;
  std::string text;
  int times;              // how often it still applies; kAlways: until clear()
  std::string type = {};  // kRefuse: of the setting
};
inline constexpr int kAlways = -1;

class Faults {
 public:
  // Replaces an earlier rule of the same kind for the same command and type. A rule of 0 times
  // removes it.
  void add(FaultRule rule);
  void clear() { rules_.clear(); }
  // The rule of that kind that applies to the command, counted as used. A rule for the command
  // itself comes before one for all.
  [[nodiscard]] std::optional<FaultRule> take(Fault fault, int msg_id, std::string_view type = {});
  [[nodiscard]] const std::vector<FaultRule>& rules() const { return rules_; }

 private:
  std::vector<FaultRule> rules_;
};

}  // namespace camera_service
