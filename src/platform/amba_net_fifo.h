// The chip vendor's network media FIFO (libambanetfifo.so), C interface, as this program calls it.
//
// The library hands out the encoder's live audio and video entries. Every record below has the size
// that the library expects; fields that this program does not use are padding. All of it is the
// library's own memory layout on a 64-bit little-endian machine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

inline constexpr int kFifoStreams = 16;  // entries in the stream list
inline constexpr int kFifoTracks = 4;    // track records in a media information
inline constexpr uint32_t kFifoEntryAdded = 0x4000002;
inline constexpr uint32_t kFifoEndOfStream = 0x4000001;

struct FifoStreamEntry {  // 68 bytes
  uint8_t reserved[64];
  uint32_t active;  // non-zero for an active stream
};

struct FifoStreamList {  // 1092 bytes
  uint32_t count;
  FifoStreamEntry entries[kFifoStreams];
};

struct FifoTrackRecord {  // 80 bytes
  uint32_t word0;
  uint32_t time_scale;  // ticks per second of the time stamps
  uint32_t word2;
  uint32_t word3;
  uint64_t source;      // source FIFO, 0 when absent
  uint64_t ring_start;  // addresses of the ring of frame data
  uint64_t ring_end;
  int32_t sample_rate;  // audio
  uint8_t reserved44;
  uint8_t audio_byte;
  uint8_t reserved46[26];
  uint8_t kind;  // 1 video, 2 audio
  uint8_t reserved73[7];
};

struct FifoMediaInfo {  // 328 bytes
  FifoTrackRecord tracks[kFifoTracks];
  uint8_t track_count;
  uint8_t reserved321[7];
};

struct FifoConfiguration {  // 40 bytes
  uint64_t source;
  uint32_t setting8;
  uint32_t setting12;
  uint64_t instance;
  uint8_t reserved24[16];
};

struct FifoEntry {  // 40 bytes
  uint64_t reserved0;
  uint64_t time_stamp;
  uint8_t type;  // 1 to 4 video, 8 audio, 255 end mark
  uint8_t reserved17[7];
  uint64_t address;
  uint32_t size;  // bytes; 0xFFFFFF end mark
  uint8_t reserved36[4];
};

struct FifoRequest {
  void* fifo;
  uint32_t operation;  // 0 peek, 1 remove
};

static_assert(sizeof(FifoStreamList) == 1092);
static_assert(sizeof(FifoMediaInfo) == 328 && offsetof(FifoMediaInfo, track_count) == 320);
static_assert(sizeof(FifoTrackRecord) == 80 && offsetof(FifoTrackRecord, source) == 16);
static_assert(offsetof(FifoTrackRecord, sample_rate) == 40);
static_assert(offsetof(FifoTrackRecord, audio_byte) == 45 && offsetof(FifoTrackRecord, kind) == 72);
static_assert(sizeof(FifoConfiguration) == 40 && offsetof(FifoConfiguration, instance) == 16);
static_assert(sizeof(FifoEntry) == 40 && offsetof(FifoEntry, type) == 16);
static_assert(offsetof(FifoEntry, address) == 24 && offsetof(FifoEntry, size) == 32);

extern "C" {

// Fills in the instance number; both it and the result are >= 0 on success.
int32_t AmbaNetFifo_init(int32_t* instance);
// The callbacks run on the thread that executes AmbaNetFifo_ExecEventProcess.
int32_t AmbaNetFifo_Reg_cbFifoEvent(int32_t (*callback)(void* fifo, uint32_t event), int32_t zero);
int32_t AmbaNetFifo_Reg_cbControlEvent(int32_t (*callback)(int32_t event, void* argument),
                                       int32_t zero);
// A thread body: delivers events until stopped.
void* AmbaNetFifo_ExecEventProcess(void* argument);
// 0 once the event processing has stopped.
int32_t AmbaNetFifo_StopEventProcess(void);
// The Get operations fill a zeroed record; < 0 on failure.
int32_t AmbaNetFifo_GetMediaStreamIDList(void* list);         // FifoStreamList
int32_t AmbaNetFifo_GetMediaInfo(int32_t index, void* info);  // FifoMediaInfo
int32_t AmbaNetFifo_GetDefaultCFG(void* configuration);       // FifoConfiguration
// A reader handle, null on failure.
void* AmbaNetFifo_Create(void* configuration);
// 0 when an entry was read.
int32_t AmbaNetFifo_PeekEntry(FifoRequest* request, void* entry);  // FifoEntry
int32_t AmbaNetFifo_RemoveEnrty(FifoRequest* request);
int32_t AmbaNetFifo_Delete(void* fifo);
// 1 reading, 2 stopped, 3 stopped for good.
int32_t AmbaNetFifo_ReportStatus(int32_t status);
void AmbaNetFifo_release(void);

}  // extern "C"

}  // namespace platform
