// The factory's photo test and recording test. The camera is driven through the camera service's
// client, whose answers nobody waits for: the station looks at the card.
#pragma once

#include <atomic>
#include <cstdint>

namespace supervisor {

// 1 between the start and the stop of the test recording. Relaxed.
extern std::atomic<int32_t> test_recording;

// Before any reader runs.
void testmode_tests_clear();

// Empties the photo folder, takes a photo and replies.
void testmode_snap_test();

// Replies, reports the MAC address, records for 7 s and replies again; 11 s in all. The reader and
// the runner may be in it at the same time.
void testmode_record_test();

// Sends the line that ifconfig prints for the Wi-Fi interface, and stores it on the card. Returns
// 0, or -1 when nothing could be read.
int32_t testmode_save_mac_to_sd();

// The end of a recording test: its reply.
void testmode_record_timeout();

}  // namespace supervisor
