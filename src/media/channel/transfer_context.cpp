#include "media/channel/transfer_context.h"

#include <new>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "media/card/store.h"

namespace media {
namespace {

using base::kRelaxed;

// The link that holds the first item which `wanted` accepts, else the empty last link.
template <typename Wanted>
std::unique_ptr<WorkItem>& find_link(TransferContext& context, Wanted wanted) {
  std::unique_ptr<WorkItem>* link = &context.queue;
  while (*link != nullptr && !wanted(**link)) link = &(*link)->next;
  return *link;
}

WorkItem* first_runnable(TransferContext& context) {
  WorkItem* fresh = find_link(context, [](const WorkItem& i) { return i.rerun == 0; }).get();
  if (fresh != nullptr) return fresh;
  return find_link(context, [](const WorkItem& i) { return i.rerun == 1; }).get();
}

void remove_item(TransferContext& context, uint32_t id) {
  const base::Lock lock(media_store.lock);
  std::unique_ptr<WorkItem>& link =
      find_link(context, [id](const WorkItem& i) { return i.id == id; });
  if (link == nullptr) return;
  link = std::move(link->next);
  context.queued--;
}

}  // namespace

TransferContext transfer_context;

void transfer_queue(const TransferWork& work, TransferHandler handler, int32_t cancel_on_new_work,
                    int32_t droppable, TransferContext* context) {
  const auto id = static_cast<uint32_t>(base::wall_clock_us());
  std::unique_ptr<WorkItem> item(
      new (std::nothrow) WorkItem{id, 0, droppable, cancel_on_new_work, 1, work, handler, nullptr});
  if (item == nullptr) return;

  const base::Lock lock(media_store.lock);
  if (context->queued >= kTransferQueueLimit) return;
  // Two items of the same microsecond, or a clock that was set back.
  while (find_link(*context, [&](const WorkItem& i) { return i.id == item->id; }) != nullptr) {
    item->id++;
  }
  find_link(*context, [](const WorkItem&) { return false; }) = std::move(item);
  context->queued++;
  context->new_work.store(1, kRelaxed);
  context->work_ready.notify_one();
}

void transfer_work_once(TransferContext* context) {
  WorkItem* item = nullptr;
  {
    const base::Lock lock(media_store.lock);
    while ((item = first_runnable(*context)) == nullptr) context->work_ready.wait(media_store.lock);
  }
  // Nobody but the worker takes items out, so this one stays where it is.
  if (context->stream_hold.load(kRelaxed) == 1 && item->droppable != 0) {
    remove_item(*context, item->id);
    return;
  }
  item->rerun = 0;
  context->new_work.store(0, kRelaxed);
  context->cancel.store(0, kRelaxed);
  item->handler(item, context);
  if (item->rerun == 0) remove_item(*context, item->id);
}

bool transfer_interrupted(const WorkItem& item, const TransferContext& context) {
  return context.cancel.load(kRelaxed) != 0 || context.stream_hold.load(kRelaxed) == 1 ||
         context.stream_hold_id.load(kRelaxed) == 1 ||
         (item.cancel_on_new_work != 0 && context.new_work.load(kRelaxed) != 0) || item.rerun != 0;
}

}  // namespace media
