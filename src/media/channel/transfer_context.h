// The record of the media channel: its socket, its work queue and what the application has asked
// for while something runs.
//
// Two threads use it (media/transfer.h): the receiver queues work items, the worker runs them one
// at a time. Words that one of them writes while the other's work runs are relaxed atomics.
#pragma once

#include <netinet/in.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/mutex.h"
#include "base/renew.h"
#include "flightlink/frame/mavlink_frame.h"
#include "media/card/names.h"
#include "media/card/store.h"

namespace media {

struct TransferContext;
struct WorkItem;

// Runs on the worker thread. The result says whether the request was carried out (0, else -1);
// only tests look at it.
using TransferHandler = int32_t (*)(WorkItem* item, TransferContext* context);

// What a work item is about.
struct TransferWork {
  int64_t offset;  // bytes, never negative
  uint16_t kind;   // media kind
  char path[kMediaPathSize];
  char name[kMediaNameSize];
  uint8_t frame[sizeof(flightlink::MavlinkMessage)];  // a request as received; not aligned for it
};
static_assert(sizeof(TransferWork) == 536 && offsetof(TransferWork, frame) == 260);

// Queued work, on the heap.
struct WorkItem {
  uint32_t id;                 // low half of the clock in us when it was made; unique in the queue
  int32_t rerun;               // a handler sets it to be called again, after the fresh items
  int32_t droppable;           // thrown away unrun while `stream_hold` is 1
  int32_t cancel_on_new_work;  // a transfer that ends as soon as another item is queued
  int32_t notify;              // always 1: the item reports its result to the application
  TransferWork work;
  TransferHandler handler;
  std::unique_ptr<WorkItem> next;
};

struct TransferContext {
  // The socket, 0 while closed, and where replies go: the sender of the newest datagram. Under
  // `socket_lock`, a leaf. The socket is closed only when no sender is inside the send call.
  base::Mutex socket_lock;
  base::Condition socket_unused;
  int sock GUARDED_BY(socket_lock);
  sockaddr_in peer GUARDED_BY(socket_lock);
  int senders GUARDED_BY(socket_lock);
  // So many senders may be inside the send call at once: deliberately two, so that a notice passes a
  // download.
  base::Semaphore send_slots{2};

  // The queue, under the media lock (media_store.lock).
  base::Condition work_ready;
  std::unique_ptr<WorkItem> queue GUARDED_BY(media_store.lock);
  size_t queued GUARDED_BY(media_store.lock);

  std::atomic<int32_t> new_work;        // an item was queued since the running one was started
  std::atomic<int32_t> cancel;          // the application asks the running transfer to end
  std::atomic<int32_t> stream_hold;     // 1 while a data stream is switched on
  std::atomic<int32_t> stream_hold_id;  // the on/off byte of that request

  // Playback controls, written under the media lock.
  std::atomic<int32_t> seek_pending;
  std::atomic<int32_t> seek_time;  // ms, never negative
  std::atomic<int32_t> paused;

  // Written by start-up, each published with its flag (release, acquire): a signal handler on
  // another thread reads them.
  pthread_t worker;
  pthread_t receiver;
  std::atomic<bool> worker_started;
  std::atomic<bool> receiver_started;

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler takes the flags

// The one instance.
extern TransferContext transfer_context;

// Requests that wait when nothing is being done are few; a flood of them is cut off here.
inline constexpr size_t kTransferQueueLimit = 1024;

// Appends a work item and wakes the worker. The request is dropped when memory is exhausted or
// kTransferQueueLimit items wait. Any thread that does not hold the media lock.
void transfer_queue(const TransferWork& work, TransferHandler handler, int32_t cancel_on_new_work,
                    int32_t droppable, TransferContext* context);

// Waits for the first runnable item (a fresh one before one that asks to be run again) and runs it,
// or throws it away unrun. Worker thread and tests.
void transfer_work_once(TransferContext* context);

// Whether a running item has to end: cancelled, a data stream was switched on, other work came
// and the item gives way to it, or it has asked to be run again.
[[nodiscard]] bool transfer_interrupted(const WorkItem& item, const TransferContext& context);

}  // namespace media
