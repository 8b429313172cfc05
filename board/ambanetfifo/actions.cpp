#include "ambanetfifo/actions.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

#include "ambanetfifo/encoder.h"

namespace ambanetfifo {

struct ActionRow {
  std::string_view name;
  size_t least, most;  // numbers
  uint32_t limit;      // of each number
  bool track;          // may name a track
  void (*run)(State& state, const Command& command, uint64_t now_us);
};

namespace {

constexpr uint32_t kAny = UINT32_MAX;
constexpr uint32_t kByte = 255;
constexpr double kLongestWaitS = 1e9;

uint32_t count(const Command& command) { return command.numbers.empty() ? 1 : command.numbers[0]; }

// The call of that name fails as often as the command says.
template <auto fault>
void fail_calls(State& state, const Command& command, uint64_t /*now_us*/) {
  state.faults.*fault = count(command);
}

Track& named(State& state, const Command& command) { return state.tracks[command.kind]; }

void begin_quiet(State& state, uint64_t now_us);

void stop(State& state, int32_t control_event, uint64_t now_us) {
  set_ended(state, true);
  post_control_event(state, control_event);
  begin_quiet(state, now_us);
}

void end(State& state, Kind kind, uint8_t type, uint32_t size, uint64_t now_us) {
  queue_end_mark(state, kind, type, size);
  begin_quiet(state, now_us);
}

void* first_reader(State& state) {
  for (Reader& reader : state.readers) {
    if (reader.open) return &reader;
  }
  return state.stray_handles.data();
}

void set_types(Track& track, const Command& command) {
  track.odd.type = static_cast<uint8_t>(command.numbers[0]);
  track.odd.type_entries = command.numbers.size() > 1 ? command.numbers[1] : 1;
}

void fail_peeks(State& state, const Command& command) {
  for (Track& track : state.tracks) {
    if (!command.names_track || track.kind == command.kind) track.failing_peeks = count(command);
  }
}

void unblock(State& state) {
  for (Reader& reader : state.readers) {
    for (Waiting& waiting : reader.waiting) waiting.entry.type = waiting.true_type;
  }
}

// One handle per action that belongs to no reader, announced as often as asked for.
void announce_stray(State& state, const Command& command) {
  void* handle = &state.stray_handles[state.next_stray++ % state.stray_handles.size()];
  for (uint32_t i = 0; i < count(command); i++) {
    post_fifo_event(state, handle, platform::kFifoEntryAdded);
  }
}

using S = State;
using C = Command;
constexpr ActionRow kActions[] = {
    // Control and FIFO events
    {"start", 0, 0, 0, false,
     [](S& s, const C&, uint64_t) {
       s.faults.inactive = false;
       s.faults.inactive_until = 0;
       set_ended(s, false);
       post_control_event(s, 1);
     }},
    {"stop", 0, 0, 0, false, [](S& s, const C&, uint64_t now) { stop(s, 2, now); }},
    {"final", 0, 0, 0, false, [](S& s, const C&, uint64_t now) { stop(s, 3, now); }},
    {"stop6", 0, 0, 0, false, [](S& s, const C&, uint64_t now) { stop(s, 6, now); }},
    {"control", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) {
       post_control_event(s, static_cast<int32_t>(c.numbers[0]));
     }},
    {"fifo-end", 0, 0, 0, false,
     [](S& s, const C&, uint64_t now) {
       set_ended(s, true);
       post_fifo_event(s, first_reader(s), platform::kFifoEndOfStream);
       begin_quiet(s, now);
     }},
    {"fifo-event", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) { post_fifo_event(s, first_reader(s), c.numbers[0]); }},
    {"stray", 0, 1, 100000, false,
     [](S& s, const C& c, uint64_t) { announce_stray(s, c); }},
    {"quiet", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) { s.faults.quiet_us = uint64_t{c.numbers[0]} * 1000; }},

    // Entries
    {"end-video", 0, 0, 0, false,
     [](S& s, const C&, uint64_t now) { end(s, kVideo, kTypeEnd, 0, now); }},
    {"end-audio", 0, 0, 0, false,
     [](S& s, const C&, uint64_t now) { end(s, kAudio, kTypeEnd, 0, now); }},
    {"end-video-size", 0, 0, 0, false,
     [](S& s, const C&, uint64_t now) { end(s, kVideo, kTypeKey, kSizeEnd, now); }},
    {"end-audio-size", 0, 0, 0, false,
     [](S& s, const C&, uint64_t now) { end(s, kAudio, kTypeAudio, kSizeEnd, now); }},
    {"video-type", 1, 2, kAny, false,
     [](S& s, const C& c, uint64_t) { set_types(s.tracks[kVideo], c); }},
    {"audio-type", 1, 2, kAny, false,
     [](S& s, const C& c, uint64_t) { set_types(s.tracks[kAudio], c); }},
    {"video-size", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) { s.tracks[kVideo].odd.size = c.numbers[0]; }},
    {"audio-size", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) { s.tracks[kAudio].odd.size = c.numbers[0]; }},
    {"wrap", 0, 0, 0, true,
     [](S& s, const C& c, uint64_t) { named(s, c).odd.place = Place::kWrap; }},
    {"exact", 0, 0, 0, true,
     [](S& s, const C& c, uint64_t) { named(s, c).odd.place = Place::kExact; }},
    {"outside", 0, 0, 0, true,
     [](S& s, const C& c, uint64_t) { named(s, c).odd.address = Address::kAfterRing; }},
    {"outside-before", 0, 0, 0, true,
     [](S& s, const C& c, uint64_t) { named(s, c).odd.address = Address::kBeforeRing; }},
    {"outside-null", 0, 0, 0, true,
     [](S& s, const C& c, uint64_t) { named(s, c).odd.address = Address::kNull; }},
    {"unblock", 0, 0, 0, false, [](S& s, const C&, uint64_t) { unblock(s); }},
    {"pause", 0, 0, 0, false, [](S& s, const C&, uint64_t) { s.faults.paused = true; }},
    {"resume", 0, 0, 0, false, [](S& s, const C&, uint64_t) { s.faults.paused = false; }},
    {"rate", 1, 1, 1000, false,
     [](S& s, const C& c, uint64_t now) {
       Pacer& pacer = s.tracks[kVideo].pacer;
       pacer.restart(now);
       pacer.rate = uint64_t{c.numbers[0] == 0 ? 1 : c.numbers[0]} * 1000;
     }},

    // Calls that fail
    {"init-fail", 0, 1, kAny, false, fail_calls<&Faults::init>},
    {"init-no-instance", 0, 1, kAny, false, fail_calls<&Faults::init_instance>},
    {"list-fail", 0, 1, kAny, false, fail_calls<&Faults::list>},
    {"no-media-info", 0, 1, kAny, false, fail_calls<&Faults::info>},
    {"config-fail", 0, 1, kAny, false, fail_calls<&Faults::configuration>},
    {"create-fail", 0, 1, kAny, false, fail_calls<&Faults::create>},
    {"create-delay", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) { s.faults.create_us = uint64_t{c.numbers[0]} * 1000; }},
    {"peek-fail", 0, 1, kAny, true,
     [](S& s, const C& c, uint64_t) { fail_peeks(s, c); }},
    {"stop-delay", 0, 1, kAny, false, fail_calls<&Faults::stop>},

    // The records
    {"no-streams", 0, 0, 0, false, [](S& s, const C&, uint64_t) { s.faults.stream_count = 0; }},
    {"streams", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) { s.faults.stream_count = c.numbers[0]; }},
    {"inactive", 0, 0, 0, false, [](S& s, const C&, uint64_t) { s.faults.inactive = true; }},
    {"active", 0, 0, 0, false,
     [](S& s, const C&, uint64_t) {
       s.faults.inactive = false;
       s.faults.inactive_until = 0;
       s.faults.stream_count = kStreams;
     }},
    {"tracks", 1, 1, kByte, false,
     [](S& s, const C& c, uint64_t) { s.info.track_count = static_cast<uint8_t>(c.numbers[0]); }},
    {"kinds", 1, platform::kFifoTracks, kByte, false,
     [](S& s, const C& c, uint64_t) {
       for (size_t i = 0; i < c.numbers.size(); i++) {
         s.info.tracks[i].kind = static_cast<uint8_t>(c.numbers[i]);
       }
     }},
    {"source", 1, 1, 1, true,
     [](S& s, const C& c, uint64_t) {
       s.info.tracks[c.kind].source = c.numbers[0] == 0 ? 0 : named(s, c).source;
     }},
    {"time-scale", 1, 1, kAny, true,
     [](S& s, const C& c, uint64_t) { s.info.tracks[c.kind].time_scale = c.numbers[0]; }},
    {"sample-rate", 1, 1, kAny, false,
     [](S& s, const C& c, uint64_t) {
       s.info.tracks[kAudio].sample_rate = static_cast<int32_t>(c.numbers[0]);
     }},
};

const ActionRow* find_action(std::string_view name) {
  for (const ActionRow& row : kActions) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

// The stream pauses after an end; then it is announced again.
void begin_quiet(State& state, uint64_t now_us) {
  if (state.faults.quiet_us == 0) return;
  state.faults.inactive_until = now_us + state.faults.quiet_us;
  Command again;
  again.row = find_action("start");
  state.script.emplace(state.faults.inactive_until, std::move(again));
}

// Cuts the first word off `line`; empty at its end.
std::string_view next_word(std::string_view& line) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t from = line.find_first_not_of(kBlanks);
  if (from == std::string_view::npos) return line = {};
  line.remove_prefix(from);
  const size_t size = line.find_first_of(kBlanks);
  const std::string_view word = line.substr(0, size);
  line.remove_prefix(word.size());
  return word;
}

template <typename Number>
bool parse_number(std::string_view word, Number& number) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

// Reads an action and what follows it. Returns what is wrong, empty when nothing is.
std::string parse_command(std::string_view name, std::string_view line, Command& command) {
  command.row = find_action(name);
  if (command.row == nullptr) return "unknown action " + std::string(name);
  for (std::string_view word = next_word(line); !word.empty(); word = next_word(line)) {
    uint32_t number = 0;
    if (command.row->track && (word == "video" || word == "audio")) {
      command.names_track = true;
      command.kind = word == "audio" ? kAudio : kVideo;
    } else if (parse_number(word, number) && number <= command.row->limit) {
      command.numbers.push_back(number);
    } else {
      return "bad argument " + std::string(word) + " of " + std::string(name);
    }
  }
  const size_t numbers = command.numbers.size();
  if (numbers >= command.row->least && numbers <= command.row->most) return {};
  return "wrong number of arguments of " + std::string(name);
}

void run_command(State& state, const Command& command, uint64_t now_us) {
  state.log.line("action %.*s", static_cast<int>(command.row->name.size()),
                 command.row->name.data());
  command.row->run(state, command, now_us);
}

std::string run_line(State& state, std::string_view line, uint64_t now_us) {
  line = line.substr(0, line.find('#'));
  std::string_view word = next_word(line);
  if (word.empty()) return {};
  std::optional<double> at;
  if (word == "at") {
    word = next_word(line);
    double seconds = 0;
    if (!parse_number(word, seconds) || !(seconds >= 0 && seconds <= kLongestWaitS)) {
      return "bad time " + std::string(word);
    }
    at = seconds;
    word = next_word(line);
  }
  Command command;
  if (std::string fault = parse_command(word, line, command); !fault.empty()) return fault;
  if (at) {
    state.script.emplace(state.epoch_us + static_cast<uint64_t>(*at * 1e6), std::move(command));
  } else {
    run_command(state, command, now_us);
  }
  return {};
}

}  // namespace

std::string run_script(State& state, std::string_view text, uint64_t now_us) {
  std::string first_fault;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() == text.size() ? line.size() : line.size() + 1);
    const std::string fault = run_line(state, line, now_us);
    if (fault.empty()) continue;
    state.log.line("fault: %s", fault.c_str());
    if (first_fault.empty()) first_fault = fault;
  }
  return first_fault;
}

void load_script(State& state, uint64_t now_us) {
  const char* path = std::getenv("AMBANETFIFO_SCRIPT");
  if (path == nullptr) return;
  std::ifstream file(path);
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::string fault = file.is_open() ? run_script(state, text, now_us) : "cannot be read";
  if (!fault.empty()) std::fprintf(stderr, "ambanetfifo: script %s: %s\n", path, fault.c_str());
}

void take_messages(State& state, uint64_t now_us) {
  Control::Message message;
  while (state.control.receive(message)) {
    const std::string fault = run_script(state, message.text, now_us);
    state.control.answer(message, fault.empty() ? "ok\n" : "error: " + fault + "\n");
  }
}

uint64_t run_due_lines(State& state, uint64_t now_us) {
  while (!state.script.empty() && state.script.begin()->first <= now_us) {
    // Taken out first: an action may add lines.
    const auto due = state.script.extract(state.script.begin());
    run_command(state, due.mapped(), now_us);
  }
  return state.script.empty() ? kNever : state.script.begin()->first;
}

}  // namespace ambanetfifo
