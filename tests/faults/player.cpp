#include "faults/player.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>

#include "storm/promises.h"

namespace faults_test {
namespace {

using namespace support;  // NOLINT

// A road that breaks at every call says the same again and again.
constexpr uint32_t kMostBroken = 25;
constexpr int kTriesAgain = 3;

// What a failed call may cost until the next start.
struct Given {
  faults::Kind kind;
  const char* call;  // a part of the text of the call and its callers
  const char* why;
};
constexpr Given kGiven[] = {
    {faults::kSocket, "socket() maintask", "without a socket the camera client ends for good"},
    {faults::kSocket, "socket() applink", "without a socket the camera client ends for good"},
    {faults::kMalloc, "() libav", "these libraries crash where they do not look at what they got"},
};

class Player {
 public:
  Player(Rig& rig, const Road& road, const Wanted& wanted)
      : rig_(rig), road_(road), wanted_(wanted) {}

  Tally go() {
    for (uint32_t call = std::max(wanted_.only, 1U);; call += wanted_.stride) {
      reached_ = false;
      const std::string word = once(call);
      if (!word.empty()) say_broken(call, word);
      if (!reached_ || wanted_.only != 0 || tally_.broken >= kMostBroken) break;
      tally_.played++;
    }
    if (wanted_.only != 0 && reached_) tally_.played++;
    if (wanted_.promises && rig_.has_board() && rig_.is_used()) keep_promises();
    return tally_;
  }

 private:
  // One play; the word of what it broke.
  std::string once(uint32_t call) {
    const auto board_program = [this] {
      return rig_.board().is_applink() ? "applink" : "maintask";
    };
    if (!rig_.has_board() || std::string(board_program()) != road_.program) {
      rig_.begin_board(road_.program);
    }
    if (road_.fresh || road_.starts) rig_.stop();
    road_.prepare_card(rig_);
    if (!road_.starts && !ready()) return "a fresh start does not serve";
    if (!road_.starts) rig_.renew_sockets(road_.silent);
    if (!road_.starts) road_.prepare(rig_);
    faults::arm(rig_.page(), wanted_.mode, wanted_.kind, call, wanted_.error);
    if (road_.starts) {
      rig_.renew_sockets();
      rig_.board().start_program();
    }
    const bool played = road_.play(rig_);
    reached_ = rig_.struck();
    where_ = rig_.page().where.data();
    tally_.calls = std::max(tally_.calls, reached_ ? call : rig_.page().counted.load());
    faults::disarm(rig_.page());
    rig_.note(played ? "played: everything came" : "played: not everything came");
    if (!reached_) return played ? "" : "the road itself fails";
    rig_.note("hit: " + where_);
    rig_.mark_used();
    return judge();
  }

  bool ready() { return rig_.runs() || road_.begin(rig_); }

  std::string judge() {
    const bool killed = wanted_.mode == faults::kKill;
    auto& process = rig_.board().program();
    if (killed) process.wait_for_end(seconds(10));
    const auto status = process.status();
    if (status) rig_.note("wait status " + std::to_string(*status));
    if (killed && !status) return "the process has not ended";
    if (!killed && status) {
      // It may end where it cannot go on: before it serves, or without memory; but not by a fault.
      const bool may_end = road_.starts || wanted_.kind == faults::kMalloc;
      const bool crashed = WIFSIGNALED(*status)
                               ? WTERMSIG(*status) != SIGABRT
                               : process.output().find("Got signal") != std::string::npos;
      if (!may_end || (crashed && given() == nullptr)) return "the process ended";
      const auto lines = process.lines();
      say("ended", crashed ? given()->why : lines.empty() ? "without a word" : lines.back());
      (crashed ? tally_.given : tally_.ended)++;
    }
    std::string word = road_.check(rig_);
    if (word.empty()) word = rig_.lost_file();
    if (word.empty()) word = storm::keeps_what_was_written(rig_.board());
    if (!word.empty()) return word;
    if (status || road_.fresh || road_.starts) rig_.stop();
    return play_again();
  }

  // What was asked for can be asked for again.
  std::string play_again() {
    for (int tries = 0; tries < kTriesAgain; tries++) {
      if (road_.fresh) rig_.stop();
      road_.prepare_card(rig_);
      if (!ready()) return "the next start does not serve";
      if (std::string word = road_.check(rig_); road_.starts || !word.empty()) return word;
      rig_.renew_sockets(road_.silent);
      road_.prepare(rig_);
      if (road_.play(rig_)) return road_.check(rig_);
      rig_.note("asked again: not everything came");
      if (!rig_.runs()) return "the process ended afterwards";
    }
    return is_given() ? "" : "asked again three times, and it does not come";
  }

  // What the call that was hit may cost; null: nothing.
  const Given* given() {
    const auto* found = std::ranges::find_if(kGiven, [this](const Given& row) {
      return wanted_.mode == faults::kFail && wanted_.kind == row.kind &&
             where_.find(row.call) != std::string::npos;
    });
    return found == std::end(kGiven) ? nullptr : found;
  }

  // Whether the next start makes that good.
  bool is_given() {
    if (given() == nullptr) return false;
    rig_.stop();
    road_.prepare_card(rig_);
    if (!ready()) return false;
    rig_.renew_sockets(road_.silent);
    road_.prepare(rig_);
    if (!road_.play(rig_) || !road_.check(rig_).empty()) return false;
    say("given", given()->why);
    tally_.given++;
    return true;
  }

  void say(const char* what, const std::string& why) const {
    std::printf("  %s: %s, %s: %s\n", what, road_.name.c_str(), where_.c_str(), why.c_str());
    std::fflush(stdout);
  }

  // All promises, once for the kind; the next kind begins on a board of its own.
  void keep_promises() {
    road_.tidy(rig_);
    if (road_.fresh || !rig_.runs()) rig_.start();
    const auto broken = rig_.board().ready(seconds(20))
                            ? storm::check_promises(rig_.board(), {.salt = tally_.calls})
                            : storm::Broken{"serves", "the board does not come back"};
    if (broken) say_broken(wanted_.only, broken->promise + ": " + broken->why);
    rig_.end_board();
  }

  void say_broken(uint32_t call, const std::string& word) {
    tally_.broken++;
    const std::string mode = wanted_.mode == faults::kKill ? "kill" : "error";
    const std::string kind(faults::kKindNames[wanted_.kind]);
    std::string again = "tools/faults " + road_.name + " --kind " + kind +
                        (wanted_.mode == faults::kKill ? " --kill" : " --no-kill");
    if (call != 0) again += " --call " + std::to_string(call);
    const std::string logs =
        FAULTS_FOLDER "/" + road_.name + "." + kind + "." + std::to_string(call) + "." + mode;
    rig_.note("broken: " + word);
    rig_.board().keep_logs(logs);
    ADD_FAILURE() << road_.name << ", " << kind << " number " << call << " (" << mode
                  << "): " << word << "\n  " << where_ << "\n"
                  << rig_.last_events() << "  logs: " << logs << "\n  again: " << again;
    rig_.end_board();
  }

  Rig& rig_;
  const Road& road_;
  const Wanted& wanted_;
  Tally tally_;
  bool reached_ = false;
  std::string where_;  // the call that was hit
};

}  // namespace

Tally play(Rig& rig, const Road& road, const Wanted& wanted) {
  return Player(rig, road, wanted).go();
}

}  // namespace faults_test
