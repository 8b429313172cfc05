// MavlinkContext, the one record of the link's state, and sending on it.
//
// Two roads share it: the UDP peer (the only live link of the delivered configuration) and the TCP
// application. Plain words are relaxed atomics: several threads read and write them without a lock.
// Descriptors of 0 mean "not open", as in every record of this program: start-up fills 0 to 2.
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>

#include "base/mutex.h"
#include "flightlink/frame/mavlink_frame.h"
#include "flightlink/wire/link_timer.h"

namespace flightlink {

struct MavlinkContext {
  std::atomic<int> listen_socket;
  std::atomic<int> KRConnFd;  // accepted TCP connection of the application; released, acquired
  std::atomic<int> peer_socket;
  sockaddr_in peer_address;  // written by PeerUdpThread under peer_lock
  std::atomic<int> stick_socket;
  std::atomic<uint8_t> byte_2;    // set to 2 when the application server starts; no reader
  std::atomic<uint8_t> byte_100;  // set to 100 then; no reader
  LinkTimer peer_heartbeat_timer;
  // A failed send has stopped that timer; the next datagram of the peer starts it again.
  std::atomic<uint32_t> peer_heartbeat_stopped;
  LinkTimer normal_timer;
  LinkTimer disconnect_timer;
  LinkTimer app_heartbeat_timer;
  std::atomic<uint32_t> link_state;  // 0 no application, 1 accepted, 2 confirmed
  std::atomic<uint32_t> send_enabled;
  std::atomic<uint32_t> session_flag;
  std::atomic<uint8_t> peer_nibble;  // high nibble of system_status of the peer's last HEARTBEAT
  std::atomic<uint32_t> throttle_flag;
  std::atomic<uint32_t> last_clock;  // seconds since the epoch, of the last message 111; no reader
  std::atomic<uint8_t> app_is_high_address;
  std::atomic<uint8_t> binding_disabled;
  base::Semaphore send_lock{1};  // one sender on KRConnFd at a time
  base::Mutex reader_lock;       // held by the reader of KRConnFd while it waits and receives
  base::Mutex peer_lock;         // a leaf: one send, or the close of the peer socket
};

// The one instance.
extern MavlinkContext mavlink_context;

// The record as at program start; before any thread of the link runs, and in tests. Its timers are
// forgotten, not deleted.
void link_context_init();

// The 32-bit throttle word, for the dispatch.
uint32_t get_throttle_flag();

// Sends one message to the TCP application; does nothing unless link state and send enabled are
// both non-zero. A failed send ends the session and is reported on stderr. Any thread; blocks while
// another thread sends.
void mavlink_send(const MavlinkMessage* message);
// The same for raw bytes.
void mavlink_send_buff(const uint8_t* bytes, size_t length);

// Ends the TCP session: link state, send enabled and session flag 0, its three timers disarmed, the
// link status word cleared, KRConnFd exchanged with 0. Whoever gets the descriptor shuts it down,
// waits until the reader and a sender have left it, and closes it. Any thread that holds neither of
// their locks.
void app_session_end();
// Disarms the session's three timers and prints "stop heart beat timer ok!".
void app_timers_stop();

// Sends one message to the UDP peer. Returns the byte count; -2 while the peer socket is closed; a
// result below 1 of the system call after stopping the peer heartbeat, until the peer is heard
// again, and switching the link lamp off. Any thread.
int peer_udp_send(const MavlinkMessage* message);

// The link lamp on GPIO line 10: runs the board's script when the value differs from the last one
// (-1 before the first call), in the order of the calls: a caller waits for the script of another
// one. Any thread but a signal handler.
void link_indicator_set(int32_t value);

}  // namespace flightlink
