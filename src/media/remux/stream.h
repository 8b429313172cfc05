// The work of the remux job, apart from its life.
#pragma once

namespace media {

// Runs remux_job on the calling thread and reports states 1 to 3 on its way. Returns true when the
// file at remux_job.path is complete: its trailer is written and it is closed. False on every
// failure.
[[nodiscard]] bool remux_stream();

}  // namespace media
