// The camera service client: its receive thread keeps the connection up.
#pragma once

namespace camera {

// Start-up: clears the client's record, creates the record tick and status timers and starts the
// receive thread (SCHED_RR 2). Returns 0 or an errno number.
int cam_json_init();

// The receive thread's body; `context` is the CamJsonContext. Connects to 127.0.0.1:7878 for ever;
// ends only when a socket cannot be created.
void* cam_json_thread(void* context);

// The connection is gone: nothing that waits for an answer of it may stay stuck. Receive thread
// only.
void cam_connection_lost();

}  // namespace camera
