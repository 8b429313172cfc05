// params: the camera's device profile.
#include <fmt/format.h>

#include <map>

#include "groundstation/commands/exchange.h"

namespace groundstation {
namespace {

constexpr double kParamsTimeoutS = 5;

class ParameterList {
 public:
  // True once every parameter is there.
  bool take(const Parameter& parameter) {
    // A list of another length is a new one.
    if (parameter.count != count_) found_.clear();
    count_ = parameter.count;
    if (parameter.index >= 1 && parameter.index <= count_) found_[parameter.index] = parameter;
    return count_ > 0 && found_.size() == count_;
  }
  [[nodiscard]] const std::map<uint16_t, Parameter>& found() const { return found_; }
  [[nodiscard]] uint16_t count() const { return count_; }

 private:
  uint16_t count_ = 0;
  std::map<uint16_t, Parameter> found_;
};

ExitCode show_params(Session& session) {
  const uint64_t deadline = session.deadline(kParamsTimeoutS);
  if (Failure failure = meet_camera(session, "params", deadline)) return *failure;
  session.link.drain();
  ParameterList list;
  const auto match = [&](const CameraEvent& event) {
    const auto* parameter = std::get_if<Parameter>(&event);
    return parameter != nullptr && list.take(*parameter);
  };
  const Wait wait = exchange(session.link, parameter_query_message(), match, deadline);
  if (wait == Wait::kTimeout && list.found().empty()) {
    return session.out.fail("params", ExitCode::kNoCamera,
                            "no parameter came: the camera has no device profile, or an empty one");
  }
  if (wait != Wait::kMatched) {
    return no_answer(
        session, "params", wait,
        fmt::format("only {} of {} parameters came", list.found().size(), list.count()));
  }
  nlohmann::json rows = nlohmann::json::array();
  std::string text;
  for (const auto& [index, parameter] : list.found()) {
    rows.push_back({{"name", parameter.name}, {"value", parameter.value}});
    if (!text.empty()) text += '\n';
    text += fmt::format("{:<16} {}", parameter.name, parameter.value);
  }
  return session.out.done("params", text, {{"params", rows}});
}

}  // namespace

void add_params_command(CLI::App& app, Action* chosen) {
  app.add_subcommand(
         "params",
         "List the camera's device profile. Names are cut to 15 characters, values to 29.")
      ->group(kSettingsGroup)
      ->callback([chosen] { *chosen = show_params; });
}

}  // namespace groundstation
