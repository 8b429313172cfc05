// The camera service client: its receive thread keeps the connection up.
#pragma once

namespace camera {

// Start-up: clears the client's record, creates the record tick and status timers and starts the
// receive thread (SCHED_RR 2). Returns 0 or an errno number.
int cam_json_init();

// The receive thread's body; `context` is the CamJsonContext. Connects to 127.0.0.1:7878 for ever:
// 2 s after a failed connect, at once after a lost connection, but 1 ms after one that has brought
// no byte, and 2 s after the tenth such in a row. Ends a connection itself, with a line that says
// so, when an answer is overdue (watch.h). Ends only when a socket cannot be created.
void* cam_json_thread(void* context);

// The connection is gone: nothing that waits for an answer of it may stay stuck. Receive thread
// only.
void cam_connection_lost();

}  // namespace camera
