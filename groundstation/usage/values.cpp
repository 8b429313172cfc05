#include "groundstation/usage/values.h"

#include <fmt/format.h>

#include "groundstation/messages/whole_number.h"
#include "groundstation/usage/nearest.h"

namespace groundstation {
namespace {

std::vector<std::string> words_of(const std::vector<Choice>& choices) {
  std::vector<std::string> words;
  words.reserve(choices.size());
  for (const auto& [word, value] : choices) words.push_back(word);
  return words;
}

// The value of the chosen word takes its place. False when there is no such word.
bool choose(const std::vector<Choice>& choices, std::string* text) {
  for (const auto& [word, value] : choices) {
    if (edit_distance(word, *text) != 0) continue;
    *text = value;
    return true;
  }
  return false;
}

std::string refused(const std::string& text, const std::string& wanted) {
  return fmt::format("{} is not {}", text.empty() ? "an empty text" : text, wanted);
}

template <typename Number>
CLI::Option* takes(CLI::Option* option, Number low, Number high, const char* what) {
  option->type_name("N");
  return option->check([=](const std::string& text) {
    const auto number = whole_number<Number>(text);
    if (number.has_value() && *number >= low && *number <= high) return std::string();
    return refused(text, fmt::format("{} from {} to {}", what, low, high));
  });
}

}  // namespace

CLI::Option* takes_whole(CLI::Option* option, int64_t low, int64_t high) {
  return takes(option, low, high, "a whole number");
}

CLI::Option* takes_number(CLI::Option* option, double low, double high) {
  return takes(option, low, high, "a number");
}

CLI::Option* takes_seconds(CLI::Option* option, bool zero_too) {
  constexpr double kMostSeconds = 1e9;  // a microsecond clock carries it
  option->type_name("SECONDS");
  return option->check([zero_too](const std::string& text) {
    const auto number = whole_number<double>(text);
    const bool taken =
        number.has_value() && *number <= kMostSeconds && (zero_too ? *number >= 0 : *number > 0);
    if (taken) return std::string();
    return refused(text,
                   zero_too ? "a number of seconds, 0 or more" : "a number of seconds above 0");
  });
}

CLI::Option* takes_choice(CLI::Option* option, std::vector<Choice> choices) {
  const std::vector<std::string> words = words_of(choices);
  option->type_name(fmt::format("{}", fmt::join(words, "|")));
  option->transform(CLI::Validator(
      [words, choices = std::move(choices)](std::string& text) {
        if (choose(choices, &text)) return std::string();
        return refused(text, listed(words)) + nearest_hint(text, words);
      },
      ""));
  return option;
}

CLI::Option* takes_word(CLI::Option* option, const std::vector<std::string>& words) {
  std::vector<Choice> choices;
  choices.reserve(words.size());
  for (const std::string& word : words) choices.emplace_back(word, word);
  return takes_choice(option, std::move(choices));
}

CLI::Option* takes_choice_or_whole(CLI::Option* option, std::vector<Choice> choices, int64_t low,
                                   int64_t high) {
  std::vector<std::string> words = words_of(choices);
  option->type_name(fmt::format("{}|N", fmt::join(words, "|")));
  option->transform(CLI::Validator(
      [=](std::string& text) {
        const auto number = whole_number<int64_t>(text);
        if (choose(choices, &text) || (number.has_value() && *number >= low && *number <= high)) {
          return std::string();
        }
        std::vector<std::string> all = words;
        all.push_back(fmt::format("a whole number from {} to {}", low, high));
        return refused(text, listed(all)) + nearest_hint(text, words);
      },
      ""));
  return option;
}

std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (size_t i = 0; i < words.size(); i++) {
    if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace groundstation
