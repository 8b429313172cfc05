#include "media/channel/transfer.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/socket.h"
#include "base/thread.h"
#include "media/card/store.h"
#include "media/channel/transfer_context.h"
#include "media/channel/transfer_requests.h"
#include "media/movie/av_messages.h"

namespace media {
namespace {

constexpr int kPriority = 2;
constexpr int kWaitMs = 2000;
constexpr uint64_t kSocketRetryUs = 1000;

flightlink::MavlinkParser parser;  // receiver thread only

// Nobody but the receiver thread opens and closes it, so for that thread it stays what it is.
int open_socket() {
  const base::Lock lock(transfer_context.socket_lock);
  return transfer_context.sock;
}

}  // namespace

int32_t transfer_start() {
  TransferContext& context = transfer_context;
  // A client's question about a broken file is no reason for lines in the log.
  quiet_av_messages();
  (void)media_rescan(&media_store);
  const int worker = base::start_worker(TransferWorkerThread, nullptr, kPriority, &context.worker);
  context.worker_started.store(worker == 0, std::memory_order_release);
  const int receiver =
      base::start_worker(TransferReceiverThread, nullptr, kPriority, &context.receiver);
  context.receiver_started.store(receiver == 0, std::memory_order_release);
  return worker == 0 && receiver == 0 ? 0 : -1;
}

void transfer_stop() {
  TransferContext& context = transfer_context;
  media_detach_lists();
  // The first of the two ends the process. Lock, condition and semaphore are left to it: threads
  // may hold them.
  if (context.worker_started.exchange(false, std::memory_order_acquire)) {
    pthread_kill(context.worker, SIGKILL);
    pthread_join(context.worker, nullptr);
  }
  if (context.receiver_started.exchange(false, std::memory_order_acquire)) {
    pthread_kill(context.receiver, SIGKILL);
    pthread_join(context.receiver, nullptr);
  }
}

void transfer_socket_close() {
  TransferContext& context = transfer_context;
  int socket = 0;
  {
    const base::Lock lock(context.socket_lock);
    std::swap(socket, context.sock);
    while (context.senders != 0) context.socket_unused.wait(context.socket_lock);
  }
  if (socket != 0) close(socket);
}

int32_t transfer_socket_open() {
  base::Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd.open()) return -1;
  if (setsockopt(fd.get(), SOL_SOCKET, SO_SNDBUF, &kTransferSendBuffer,
                 sizeof(kTransferSendBuffer)) != 0) {
    return -1;
  }
  if (!base::bind_any(fd.get(), kTransferPort)) return -1;
  const base::Lock lock(transfer_context.socket_lock);
  transfer_context.sock = fd.release();
  return 0;
}

int32_t transfer_socket_serve() {
  TransferContext& context = transfer_context;
  const int socket = open_socket();
  pollfd readable{socket, POLLIN, 0};
  const int ready = poll(&readable, 1, kWaitMs);
  if (ready == 0 || (ready < 0 && errno == EINTR)) return 0;
  if (ready < 0) return -1;
  uint8_t datagram[4096];
  sockaddr_in from{};
  socklen_t from_size = sizeof(from);
  const ssize_t received = recvfrom(socket, datagram, sizeof(datagram), 0,
                                    reinterpret_cast<sockaddr*>(&from), &from_size);
  if (received < 0) return errno == EINTR || errno == EAGAIN ? 0 : -1;
  {
    const base::Lock lock(context.socket_lock);
    context.peer = from;
  }
  flightlink::MavlinkMessage message;
  flightlink::MavlinkParseStatus status;
  for (ssize_t i = 0; i < received; i++) {
    if (flightlink::mavlink_parser_feed(&parser, datagram[i], &message, &status) == 1) {
      transfer_dispatch(message, &context);
    }
  }
  return 0;
}

// SCHED_RR 2. Owns the socket, which it publishes in the context and closes under its lock; queues
// work under the media lock. Runs until the process ends.
void* TransferReceiverThread(void* /*argument*/) {
  for (;;) {
    transfer_socket_close();
    while (transfer_socket_open() != 0) base::sleep_us(kSocketRetryUs);
    while (transfer_socket_serve() == 0) {
    }
    base::sleep_us(kSocketRetryUs);
  }
  return nullptr;
}

// SCHED_RR 2. Runs the queued items, whose files and buffers belong to it while they run; shares
// the queue and the media lists under the media lock. Runs until the process ends.
void* TransferWorkerThread(void* /*argument*/) {
  for (;;) transfer_work_once(&transfer_context);
  return nullptr;
}

}  // namespace media
