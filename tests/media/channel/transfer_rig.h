// Stands at the application's end of the media channel: while it lives, the channel sends to a
// loopback socket of its own.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "media/channel/transfer_context.h"
#include "support/loopback_receiver.h"
#include "support/mavlink.h"
#include "support/photo.h"

namespace media_test {

class TransferRig {
 public:
  // The channel's words cleared, its queue empty, its lists empty.
  TransferRig();
  ~TransferRig();

  // The next datagram; empty when there is none.
  Bytes next();
  // All datagrams that wait, each in words: the text of a notification (with a leading "1 " on
  // channel 1), "list NAME", or "data CHANNEL BYTES".
  std::vector<std::string> said();
  // The same for one datagram.
  static std::string words(const Bytes& datagram);
  // Sends fail from now on, or go out again.
  void block();
  void unblock();
  // Asked before every send call: whether it is to fail.
  static void refuse(std::function<bool(const Bytes& datagram)> when);

  media::TransferContext& context = media::transfer_context;

 private:
  support::LoopbackReceiver receiver_;
  base::Descriptor sender_;
};

// Message 142 as a queued item holds it.
[[nodiscard]] support::Frame file_request(uint8_t kind, uint8_t operation, const std::string& name,
                                          const std::string& argument = "");
// The record that the parser would make of a frame.
[[nodiscard]] flightlink::MavlinkMessage parsed(const support::Frame& frame);
// An item as transfer_queue would make it.
[[nodiscard]] std::unique_ptr<media::WorkItem> make_item(const std::string& name,
                                                         const std::string& path, uint16_t kind,
                                                         int64_t offset = 0);
// Runs all queued items.
void run_queue();

}  // namespace media_test
