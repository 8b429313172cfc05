// The connection to the camera service: its record, the session token, and sending.
//
// The camera service is a JSON command server on TCP 127.0.0.1 port 7878. Messages are JSON objects
// back to back, without a delimiter, in both directions.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/mutex.h"
#include "base/waiting.h"
#include "flightlink/wire/link_timer.h"

namespace camera {

enum CamConnState : int32_t { kCamDisconnected = 0, kCamConnected = 2 };

struct CamJsonContext {
  pthread_t RecvThread;
  std::atomic<int> JsonConnFd;  // 0: none; owned by the receive thread, published under SendLock
  base::Mutex SendLock;         // one send at a time; every write of ConnState; cam_op_state
  base::Mutex StateLock;        // confirmed camera settings; never together with SendLock
  std::atomic<int32_t> ConnState;
  std::atomic<int32_t> Token;  // of the last session reply, kept across reconnects
  std::atomic<int32_t> SessionStarted;
  std::atomic<int32_t> SpaceQueryTotal;  // 1 while the outstanding space query asks for "total"
  flightlink::LinkTimer RecordTickTimer;
  flightlink::LinkTimer StatusTimer;
  flightlink::LinkTimer TimelapseTimer;
  base::Waiting SessionRequest;  // receive thread only
};

// The one instance; zero at start.
extern CamJsonContext cam_json_context;

// The record and the operation code as at program start, the timers forgotten, not deleted. Before
// the receive thread runs, and in tests; senders on other threads find no connection.
void cam_json_reset();

// A new connection: publishes the descriptor, which stays the caller's, and sends its first text
// before any other sender can. Receive thread only.
void cam_json_publish(int connection, const char* first_text, size_t length);
// No connection any more: after this no sender holds the descriptor. Receive thread only.
void cam_json_withdraw();

// Sends one command text in one send call. Returns -2 when there is no connection (and prints so);
// otherwise 0, also after a failed send: that shows in ConnState, and the receive thread
// reconnects. Any thread. Blocks for at most 2 s when the service does not read.
int32_t a12_json_send(CamJsonContext* context, const char* text, size_t length);
// The same for a text whose answer somebody waits for: `mark` is set to `msg_id` before any answer
// can come, and to 0 when there is no connection.
int32_t cam_json_send_marked(const char* text, size_t length, base::Waiting& mark, int32_t msg_id);

// Ends the connection if there has ever been a session; the receive thread then connects anew.
void cam_json_disconnect();

// The operation whose answer is awaited: 0 idle, 8 the end of a recording, 10 a query about the card,
// 16 a time-lapse (which runs until it is stopped), others a set or a query of the setting that has
// the code in its row.
inline constexpr uint32_t kCamOpIdle = 0;
inline constexpr uint32_t kCamOpStopRecord = 8;
inline constexpr uint32_t kCamOpSdQuery = 10;
inline constexpr uint32_t kCamOpTimelapse = 16;
inline constexpr uint32_t kCamOpHighest = 26;

// Stores the code, then sleeps 10 ms to give the service time between commands. Returns 0; -1
// without a change for a code above 26. Any thread that does not hold SendLock.
int32_t cam_set_op_state(uint32_t code);
// Idle again, without the pause: for the end of a connection. Takes SendLock, as the next one does,
// and so may wait for a send.
void cam_clear_op_state();
[[nodiscard]] uint32_t cam_get_op_state();
// Since when it has not been idle, by base::monotonic_us; 0 while it is, and while a time-lapse
// runs.
[[nodiscard]] uint64_t cam_op_since_us();

}  // namespace camera
