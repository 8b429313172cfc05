// set and get: every setting by its name, confirmed by the camera; and what brings all of them or
// the whole card back: defaults, format.
#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "groundstation/commands/exchange.h"
#include "groundstation/messages/setting_rules.h"
#include "groundstation/messages/setting_table.h"
#include "groundstation/usage/nearest.h"

namespace groundstation {
namespace {

constexpr double kSetTimeoutS = 8;
constexpr double kGetTimeoutS = 5;
constexpr double kFormatTimeoutS = 15;

struct SetRequest {
  std::string name;
  std::string value;
  bool any = false;
};

struct GetRequest {
  std::vector<std::string> names;
  bool all = false;
};

bool shows(const CameraState& state, const Setting& setting, int32_t value) {
  return setting.field != nullptr && value >= 0 &&
         (*state.status).*setting.field == static_cast<uint32_t>(value);
}

std::string text_of(const Setting& setting, int32_t value) {
  return value < 0 ? fmt::format("{}", value) : setting_text(setting, static_cast<uint32_t>(value));
}

ExitCode tell_set(Session& session, const Setting& setting, int32_t value, std::string_view how) {
  const std::string text = text_of(setting, value);
  return session.out.done("set", fmt::format("{} is {}, {}", setting.name, text, how),
                          {{"name", setting.name}, {"value", value}, {"text", text}});
}

ExitCode set_setting(Session& session, const Setting& setting, int32_t value) {
  const uint64_t deadline = session.deadline(kSetTimeoutS);
  if (Failure failure = meet_camera(session, "set", deadline)) return *failure;
  CameraLink& link = session.link;
  link.drain();
  // The camera does not answer when it has this resolution.
  if (setting.field == &CameraStatus::resolution && shows(link.state(), setting, value)) {
    return tell_set(session, setting, value, "as it was");
  }
  const auto refusal = [&](const CameraState& state) {
    return setting_refusal(*state.status, state.recording, setting, value);
  };
  const std::string wanted =
      fmt::format("{} cannot be {} now", setting.name, text_of(setting, value));
  if (Failure failure = refuse_by_status(session, "set", wanted, refusal, deadline)) {
    return *failure;
  }
  const bool as_before = shows(link.state(), setting, value);
  const Answer answer{
      .subject = setting.subject,
      .value = setting.subject == kSubjectNone ? uint8_t{0} : static_cast<uint8_t>(value),
      .shown = [&](const CameraState& state) {
        return !as_before && shows(state, setting, value);
      }};
  std::string what = fmt::format("{} was not confirmed", setting.name);
  if (!setting.rule.empty()) what += fmt::format(" (the camera takes it {})", setting.rule);
  if (Failure failure =
          confirm(session, "set", setting_message(setting.sub, value), answer, deadline, what)) {
    return *failure;
  }
  return tell_set(session, setting, value, "confirmed by the camera");
}

// A record that was made after the command began.
Failure next_status(Session& session, std::string_view command, uint64_t deadline) {
  if (Failure failure = meet_camera(session, command, deadline)) return failure;
  session.link.drain();
  const Wait wait = session.link.wait(deadline, [](const CameraEvent& event) {
    return std::holds_alternative<CameraStatus>(event);
  });
  if (wait == Wait::kMatched) return std::nullopt;
  return no_answer(session, command, wait, "no status record came");
}

ExitCode get_settings(Session& session, const std::vector<const Setting*>& wanted) {
  if (Failure failure = next_status(session, "get", session.deadline(kGetTimeoutS))) {
    return *failure;
  }
  const CameraStatus& status = *session.link.state().status;
  nlohmann::json object = nlohmann::json::object();
  std::string text;
  const Setting* hidden = nullptr;
  for (const Setting* setting : wanted) {
    if (!text.empty()) text += '\n';
    if (setting->field == nullptr) {
      hidden = setting;
      object[std::string(setting->name)] = nullptr;
      text += fmt::format("{:<20}not in the camera's status record", setting->name);
      continue;
    }
    const uint32_t value = status.*setting->field;
    object[std::string(setting->name)] = {{"value", value},
                                          {"text", setting_text(*setting, value)}};
    text += fmt::format("{:<20}{}", setting->name, setting_text(*setting, value));
  }
  if (hidden != nullptr && wanted.size() == 1) {
    return session.out.fail(
        "get", ExitCode::kRefused,
        fmt::format("the camera's status record does not carry {}", hidden->name));
  }
  return session.out.done("get", text, {{"settings", object}});
}

const Setting& known_setting(const std::string& name) {
  const Setting* setting = find_setting(name);
  if (setting == nullptr) {
    const std::vector<std::string> names = setting_names();
    const std::string hint = nearest_hint(name, names);
    throw CLI::ValidationError("NAME",
                               fmt::format("{} is no setting{}", name,
                                           hint.empty() ? "; \"get --help\" lists them" : hint));
  }
  return *setting;
}

Action set_action(const SetRequest& request) {
  const Setting& setting = known_setting(request.name);
  const std::optional<int32_t> value = parse_setting(setting, request.value, request.any);
  if (!value.has_value()) {
    throw CLI::ValidationError(
        "VALUE", fmt::format("{} takes {}, not {}{}", setting.name, setting_values(setting),
                             request.value, nearest_hint(request.value, setting_words(setting))));
  }
  return
      [&setting, value = *value](Session& session) { return set_setting(session, setting, value); };
}

Action get_action(const GetRequest& request) {
  std::vector<const Setting*> wanted;
  for (const std::string& name : request.names) wanted.push_back(&known_setting(name));
  if (request.all) wanted.clear();
  if (wanted.empty()) {
    for (const Setting& setting : settings()) wanted.push_back(&setting);
  }
  return [wanted](Session& session) { return get_settings(session, wanted); };
}

// format and defaults: one message, one acknowledgement.
struct Reset {
  const char* command;
  const char* about;
  const char* more;
  uint8_t sub;
  uint8_t subject;
  double timeout_s;
  const char* unconfirmed;
  const char* done;
};

constexpr Reset kFormat{
    .command = "format",
    .about = "Format the card: everything on it is lost. Needs --yes.",
    .more = "",
    .sub = kSubFormat,
    .subject = kSubjectFormat,
    .timeout_s = kFormatTimeoutS,
    .unconfirmed = "the format was not confirmed",
    .done = "the card is formatted",
};
constexpr Reset kDefaults{
    .command = "defaults",
    .about = "Give every setting its default. Needs --yes.",
    .more =
        "\nThe status record goes on showing what was confirmed before, until it is set again.\n",
    .sub = kSubDefaults,
    .subject = kSubjectDefaults,
    .timeout_s = kSetTimeoutS,
    .unconfirmed = "the default settings were not confirmed",
    .done = "the camera has its default settings",
};

ExitCode reset_camera(Session& session, const Reset& reset) {
  const uint64_t deadline = session.deadline(reset.timeout_s);
  if (Failure failure = meet_camera(session, reset.command, deadline)) return *failure;
  if (session.link.state().recording) {
    return session.out.fail(reset.command, ExitCode::kNotNow,
                            "the camera is recording; stop the recording first (record stop)");
  }
  if (Failure failure = confirm(session, reset.command, setting_message(reset.sub, 0),
                                {.subject = reset.subject}, deadline, reset.unconfirmed)) {
    return *failure;
  }
  return session.out.done(reset.command, reset.done);
}

void add_reset_command(CLI::App& app, Action* chosen, const Reset& reset) {
  CLI::App* command = app.add_subcommand(reset.command, reset.about)->group(kSettingsGroup);
  command->footer(reset.more);
  auto yes = std::make_shared<bool>(false);
  command->add_flag("--yes", *yes, "Do it")->required();
  command->callback([yes, chosen, &reset] {
    *chosen = [&reset](Session& session) { return reset_camera(session, reset); };
  });
}

constexpr const char* kSetMore = R"(
The camera confirms a setting by a message. What it refuses in its present state, as Max_Agc without
low light, is told at once, with status 4. A setting that the camera service turns down is not
reported: that ends with status 3.
video_quality cannot be read back. The interval of a time-lapse is set by "timelapse start".
)";

}  // namespace

void add_setting_commands(CLI::App& app, Action* chosen) {
  const auto [set_app, set] = setting_command<SetRequest>(
      app, "set", "Set one camera setting and wait for its confirmation.");
  const std::string names = fmt::format("{}", fmt::join(setting_names(), "|"));
  set_app->add_option("NAME", set->name, "The setting, by either name below")
      ->required()
      ->type_name(names);
  set_app->add_option("VALUE", set->value, "A word or its number, as below")->required();
  set_app->add_flag("--any", set->any, "Send a number that the setting does not take, too");
  set_app->footer(fmt::format("\nSettings and their values:\n{}{}", settings_help(), kSetMore));
  set_app->callback([set = set, chosen] { *chosen = set_action(*set); });

  const auto [get_app, get] = setting_command<GetRequest>(
      app, "get", "Show camera settings, as the next status record has them.");
  get_app->add_option("NAME", get->names, "Settings, by either name; none: all of them")
      ->type_name(names);
  get_app->add_flag("--all", get->all, "All of them");
  get_app->footer(
      fmt::format("\nSettings and their values:\n{}\nvideo_quality is not in the status record: "
                  "asked for by itself it ends with status 1.\n",
                  settings_help()));
  get_app->callback([get = get, chosen] { *chosen = get_action(*get); });

  add_reset_command(app, chosen, kDefaults);
  add_reset_command(app, chosen, kFormat);
}

}  // namespace groundstation
