#include "media/remux/remux_rig.h"

#include "base/text.h"

namespace media_test {

using media::remux_job;

RemuxRig::RemuxRig() : output_(folder_.path("tmpfile")) {
  states.clear();
  remux_job.fps = 30;
}

void RemuxRig::record_state(uint32_t state) {
  states.push_back(state);
  media::remux_on_state(state);
}

void RemuxRig::run(const std::vector<Bytes>& packets, const std::string& path,
                   const std::function<void(size_t)>& at_pause, size_t rounds) {
  ASSERT_EQ(media::remux_start(), 0);
  EXPECT_STREQ(remux_job.path, "/tmp/SD0/KRVMEDIA/VIDEO/tmpfile");
  EXPECT_EQ(remux_job.on_state, &media::remux_on_state);
  base::format_text(remux_job.path, "%s", path.c_str());
  remux_job.on_state = record_state;
  size_t next = 0;
  fake_base::on_sleep([&](uint64_t us) {
    if (us != 1000) return;
    at_pause(next);
    if (next == packets.size() * rounds) return;
    const Bytes& packet = packets[next++ % packets.size()];
    EXPECT_EQ(media::remux_push_packet(packet.data(), static_cast<int32_t>(packet.size())), 0);
  });
  ASSERT_EQ(fake_base::threads().size(), 1U);
  fake_base::threads()[0].body(nullptr);
  fake_base::on_sleep({});
  EXPECT_EQ(remux_job.stop, 1U);
  EXPECT_EQ(remux_job.state, states.empty() ? 0 : states.back());
  EXPECT_EQ(media::remux_push_packet("a", 1), -1);  // there is no list any more
}

Bytes RemuxRig::joined(const std::vector<Bytes>& packets, size_t from, size_t to) {
  Bytes all;
  for (size_t i = from; i < to; i++) all.insert(all.end(), packets[i].begin(), packets[i].end());
  return all;
}

size_t RemuxRig::millisecond_pauses() {
  size_t count = 0;
  for (const uint64_t us : fake_base::sleeps()) count += us == 1000 ? 1 : 0;
  return count;
}

}  // namespace media_test
