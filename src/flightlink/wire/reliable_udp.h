// Datagrams with acknowledgement, retry and round-trip estimation.
//
// Frame around n payload bytes, n + 16 bytes, little-endian:
//   offset size  field
//        0    4  "C0XF"
//        4    4  send stamp, us, low 32 bits
//        8    2  payload length n, low 16 bits
//       10    2  Internet checksum (RFC 1071) of the payload taken as little-endian 16-bit words, an
//                odd last byte added as it is
//       12    n  payload
//     12+n    4  "FX0C"
//
// Acknowledgement, on UDP port 8866 of this side: anywhere in a datagram, "FF" and the echoed
// stamp.
#pragma once

#include <netinet/in.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "base/mutex.h"

namespace flightlink {

struct ReliableUdpContext {
  timer_t timer;          // one-shot, signals SIGALRM
  float last_rtt_us;      // last measured round-trip time
  float srtt_us;          // smoothed round-trip time
  float rttvar_us;        // round-trip variation
  int retries;            // of the send in progress
  uint32_t timeout_us;    // current retransmission time-out
  uint64_t send_time_us;  // of the packet in flight
  base::Mutex ack_mutex;
  uint32_t ack_stamp GUARDED_BY(ack_mutex);       // as echoed; 0 none
  uint64_t ack_arrival_us GUARDED_BY(ack_mutex);  // local time at which it arrived
  std::atomic<int> ack_socket;                    // 0: not open; released, acquired
  pthread_t receiver;
  // Each publishes the handle above that it speaks of (release, acquire): a signal handler on
  // another thread reads both handles.
  std::atomic<bool> timer_created;
  std::atomic<bool> receiver_started;

  // The estimator's first values, nothing in flight, no socket. Timer and thread are left alone: a
  // signal handler may look for them. Before the acknowledgement thread runs, and in tests.
  void reset();
  void forget_acknowledgement();
};

extern ReliableUdpContext reliable_udp_context;

inline constexpr uint32_t kReliableTimeoutMinUs = 50000;
inline constexpr uint32_t kReliableTimeoutMaxUs = 2000000;

// The timer's signal may reach the sending thread only, which lets it through while it sends: every
// other thread has SIGALRM blocked, which it inherits from the first one. Blocks it in the calling
// thread; start-up, before there is another.
void reliable_udp_block_alarm();

// Start-up: clears the record, creates the timer and starts the acknowledgement thread (SCHED_RR
// 2). Returns 0, or -1 when timer or thread could not be made. SIGALRM is blocked.
int reliable_udp_init();

// Exit: deletes the timer, closes the socket, and sends signal 9 to the acknowledgement thread,
// which ends the whole process. Fit for a signal handler.
void reliable_udp_deinit();

// Sends one payload and repeats it until the far side echoes its stamp.
// One sender at a time: there is one packet in flight and one timer.
// Blocks up to about 10 s. Returns min(length, last sendto result);
// -EINVAL for a null or empty payload, a negative length, a zero socket or a null address,
// -ENOMEM if the frame cannot be made, -ETIMEDOUT (and errno) after five unanswered sends.
[[nodiscard]] int reliable_udp_send(const void* data, int length, int socket,
                                    const sockaddr_in* to);

// The Internet checksum of the frame; tests and integrators.
[[nodiscard]] uint16_t reliable_udp_checksum(const uint8_t* payload, size_t length);

// Takes every stamp from one acknowledgement datagram. `bytes` holds two zero bytes behind
// `length`: a stamp may be cut by the end of the datagram. Acknowledgement thread and tests.
void reliable_udp_scan(const uint8_t* bytes, size_t length);

}  // namespace flightlink
