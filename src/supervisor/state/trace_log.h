// A time-stamped trace logger with levels, on standard output or on the video board's data log.
// Start-up does not enable it; until _krv_trace_log_enable has run, trace_log prints nothing. Any
// thread may call.
#pragma once

#include <cstdint>

namespace supervisor {

inline constexpr int32_t kTraceToStdout = 0;
inline constexpr int32_t kTraceToVideoBoardLog = 1;

// Enables tracing and opens the three data logs: video board, flight controller, gimbal.
void _krv_trace_log_enable();
// If enabled: closes the video board's log, which still counts as open, so that the next line on it
// is lost and the one after that goes to the next file.
void trace_log_close();

// The highest level that is printed; 0 at start.
void trace_log_set_level(int32_t level);
// 0 standard output (at start), 1 the video board's log; other values print nothing.
void trace_log_set_target(int32_t target);
int32_t trace_log_get_target();
// 1 forbids opening any log file and closes all of them.
void trace_log_suspend(int32_t on);

// One line: "[HH:MM:SS.mmm][L] text". L is the letter of levels 0 to 7 in CEWNIDSF, U above.
void trace_log(uint32_t level, const char* text);

}  // namespace supervisor
