// Numbered data logs on the SD card: raw data of the flight controller, of the gimbal and of the
// video board. Every opening starts a new file; the number comes from a one-line ID file beside it.
//
//   kind                   log file                          ID file
//   1 flight controller    /tmp/SD0/FlyctlDataLog%d.txt      /tmp/SD0/FlyctlID
//   2 gimbal               /tmp/SD0/GimbalDataLog%d.txt      /tmp/SD0/GimbalID
//   other: video board     /tmp/SD0/VBoardDataLog%d.txt      /tmp/SD0/VBoardID
//
// An ID file holds one decimal number and a newline. Old logs are never deleted or rotated.
// Descriptors are relaxed atomics shared by all writers; a leaf lock keeps a write and a close of
// the same log apart. Any thread may call. No operation prints anything.
#pragma once

#include <cstddef>
#include <cstdint>

namespace supervisor {

inline constexpr int32_t kLogVideoBoard = 0;
inline constexpr int32_t kLogFlightController = 1;
inline constexpr int32_t kLogGimbal = 2;

// The stored number; -1 when the path is null, the command cannot run or nothing was read.
int32_t id_file_read(const char* path);
// 0, or -1 for a null path.
int32_t id_file_write(const char* path, int32_t number);
// The number of the next log: the stored one plus 1, or 0 when there is none. A stored number below
// 0 counts as none for the video board's log; the other two count on from it.
uint32_t data_log_next_number(int32_t kind);

// Closes the kind's log and opens the next. 0; -1 when the media folder is missing, logging is
// suspended or the file cannot be opened.
int32_t data_log_open(int32_t kind);
// Appends to the kind's log, opening it first when it is closed. 0, also after a failed write,
// which closes the log; -1 for a null buffer, a length of 0, or when the log is not open. For the
// video board that last test looks at the flight controller's log, as it always has.
int32_t data_log_write(int32_t kind, const void* buffer, int32_t length);
// Kind 2 closes the gimbal's log; kind 1 the flight controller's and the video board's; any other
// the video board's. Returns 0.
int32_t data_log_close(int32_t kind);
int32_t data_log_close_all();

// Closes the kind's file, which still counts as open: its next write fails, and the one after that
// opens the next log.
void data_log_cut(int32_t kind);

// Whether a log file counts as open.
bool data_log_is_open(int32_t kind);
// 1 forbids opening any log.
void data_log_suspend(int32_t on);
bool data_log_suspended();

}  // namespace supervisor
