// One way to show a figure: ours beside its reference, and whether the goal is met. For people a
// line on standard output; where the environment names a file (BENCH_JSON), also a JSON object per
// line at its end, for bench/figures and bench/compare.
#pragma once

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace bench {

// What is asked of ours beside the reference.
struct Goal {
  enum Kind {
    kNone,
    kRatioAtMost,   // of ours to the reference
    kRatioAtLeast,  // the same
    kMoreAtMost,    // of ours minus the reference, in the figure's unit
  };
  Kind kind = kNone;
  double value = 0;
};

inline constexpr Goal kNoGoal{};
constexpr Goal at_most(double ratio) { return {Goal::kRatioAtMost, ratio}; }
constexpr Goal at_least(double ratio) { return {Goal::kRatioAtLeast, ratio}; }
constexpr Goal more_at_most(double difference) { return {Goal::kMoreAtMost, difference}; }

// Names and unit are plain text without quotes or backslashes. A name stays the same from commit to
// commit: figures are compared by it.
struct Figure {
  std::string name{};
  std::string unit{};
  double ours = 0;
  std::string reference_name{};
  double reference = 0;
  Goal goal = kNoGoal;
  std::string note{};  // what else a reader should know; only on the line for people
};

inline bool met(const Figure& figure) {
  switch (figure.goal.kind) {
    case Goal::kNone:
      return true;
    case Goal::kRatioAtMost:
      return figure.ours <= figure.goal.value * figure.reference;
    case Goal::kRatioAtLeast:
      return figure.ours >= figure.goal.value * figure.reference;
    case Goal::kMoreAtMost:
      return figure.ours - figure.reference <= figure.goal.value;
  }
  return false;
}

// A number with three digits that say something, and all of those before the point.
inline std::string readable(double value) {
  const double size = std::fabs(value);
  const int decimals = size >= 100 || size == 0 ? 0 : size >= 10 ? 1 : size >= 0.1 ? 2 : 4;
  char text[64];
  std::snprintf(text, sizeof(text), "%.*f", decimals, value);
  return text;
}

inline std::string goal_text(const Figure& figure) {
  switch (figure.goal.kind) {
    case Goal::kNone:
      return "";
    case Goal::kRatioAtMost:
      return "at most " + readable(figure.goal.value);
    case Goal::kRatioAtLeast:
      return "at least " + readable(figure.goal.value);
    case Goal::kMoreAtMost:
      return "at most +" + readable(figure.goal.value) + " " + figure.unit;
  }
  return "";
}

inline std::string line_for_people(const Figure& figure) {
  const std::string unit = figure.unit.empty() ? "" : " " + figure.unit;
  std::string line = figure.name + ": " + readable(figure.ours) + unit + ", " +
                     figure.reference_name + " " + readable(figure.reference) + unit;
  if (figure.goal.kind == Goal::kMoreAtMost) {
    const double more = figure.ours - figure.reference;
    line += ", " + std::string(more < 0 ? "" : "+") + readable(more) + unit;
  } else if (figure.reference != 0) {
    line += ", ratio " + readable(figure.ours / figure.reference);
  }
  if (figure.goal.kind != Goal::kNone) {
    line += ", goal " + goal_text(figure) + (met(figure) ? ": met" : ": MISSED");
  }
  return figure.note.empty() ? line : line + " (" + figure.note + ")";
}

// JSON has no word for what is not a number.
inline std::string json_number(double value) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.6g", value);
  return std::isfinite(value) ? text : "null";
}

inline std::string json_line(const Figure& figure) {
  const bool judged = figure.goal.kind != Goal::kNone;
  return "{\"name\":\"" + figure.name + "\",\"unit\":\"" + figure.unit +
         "\",\"ours\":" + json_number(figure.ours) + ",\"reference_name\":\"" +
         figure.reference_name + "\",\"reference\":" + json_number(figure.reference) +
         ",\"ratio\":" + json_number(figure.ours / figure.reference) + ",\"goal\":\"" +
         goal_text(figure) + "\",\"met\":" + (!judged ? "null" : (met(figure) ? "true" : "false")) +
         "}\n";
}

// Shows it. `shown` is where the line for people goes.
inline void show(const Figure& figure, std::FILE* shown = stdout) {
  std::fprintf(shown, "%s\n", line_for_people(figure).c_str());
  std::fflush(shown);
  const char* path = std::getenv("BENCH_JSON");
  if (path == nullptr) return;
  std::FILE* file = std::fopen(path, "ae");
  if (file == nullptr) {
    std::perror(path);
    std::exit(1);
  }
  std::fputs(json_line(figure).c_str(), file);
  std::fclose(file);
}

}  // namespace bench
