// The media channel: UDP port 8857, on which the application lists, downloads, deletes and plays
// what is on the card. It has a receiver thread, which takes requests, and a worker thread, which
// carries them out one at a time; both SCHED_RR 2. Replies go to whoever sent the newest datagram.
#pragma once

#include <cstdint>

namespace media {

inline constexpr uint16_t kTransferPort = 8857;
inline constexpr int kTransferSendBuffer = 10485760;  // SO_SNDBUF, bytes

// Start-up: rescans the card and starts the two threads. Returns 0; -1 when a thread could not be
// started. Called once.
int32_t transfer_start();

// Exit: lets go of the media lists and sends signal 9 to the worker thread, which ends the whole
// process. Fit for a signal handler. Does nothing more when transfer_start has not run.
void transfer_stop();

// Thread bodies; the argument is ignored. They never return.
void* TransferReceiverThread(void* argument);
void* TransferWorkerThread(void* argument);

// The parts of the receiver's loop; receiver thread and tests only.
// Closes the socket, if it is open, once no sender uses it.
void transfer_socket_close();
// Opens and binds a socket. Returns 0, -1 on any failure.
int32_t transfer_socket_open();
// Waits up to 2 s for one datagram, parses it and dispatches its frames. Returns 0, also when none
// came; -1 when the socket is to be opened anew.
int32_t transfer_socket_serve();

}  // namespace media
