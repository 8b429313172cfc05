// Stands at the camera service's end of the JSON connection.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

#include "base/descriptor.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/service_state.h"
#include "camera/settings_table.h"
#include "fake_base/fake_base.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/switches.h"
#include "support/loopback.h"

namespace link_test {

// What the commands send with that token.
inline constexpr const char* kStartText = "{\"msg_id\":513,\"token\":7}";
inline constexpr const char* kStopText = "{\"msg_id\":514,\"token\":7}";
inline constexpr const char* kPhotoText = "{\"msg_id\":769,\"token\":7}";
inline constexpr const char* kModeText = "{\"msg_id\":772,\"token\":7}";

// A flag that makes the camera busy.
struct Flag {
  const char* name;
  void (*set)(int32_t);
};
inline constexpr Flag kRecordPending{"record command pending", supervisor::set_record_cmd_pending};
inline constexpr Flag kSwitchPending{"mode switch pending", supervisor::set_mode_switch_pending};
inline constexpr Flag kSettingPending{"setting pending", supervisor::set_setting_pending};
inline constexpr Flag kPhotoPending{"photo pending", supervisor::set_photo_pending};
inline constexpr Flag kQueryPending{"card query pending", supervisor::set_sd_query_pending};

// A connection with session token 7; the session request has been taken off it.
class CameraSocket {
 public:
  CameraSocket() {
    support::open_pair(&near_, &far_);
    camera::cam_start_session(near_.get());
    camera::cam_json_context.Token.store(7);
    EXPECT_EQ(sent(), "{\"msg_id\":257,\"token\":0}");
  }
  ~CameraSocket() { camera::cam_json_withdraw(); }
  CameraSocket(const CameraSocket&) = delete;
  CameraSocket& operator=(const CameraSocket&) = delete;

  // Everything that has been sent since the last call.
  std::string sent() {
    char text[4096];
    const ssize_t size = recv(far_.get(), text, sizeof(text), MSG_DONTWAIT);
    return {text, size < 0 ? 0 : static_cast<size_t>(size)};
  }

 private:
  base::Descriptor near_;
  base::Descriptor far_;
};

// A camera that is ready: video flows, nothing is awaited, every setting is at its default (photo
// mode, 2048 kbit/s). No connection yet.
class ReadyCamera : public fake_base::FakeBaseTest {
 protected:
  ReadyCamera() {
    flightlink::link_context_init();
    camera::cam_settings_init();
    camera::cam_json_reset();
    camera::camera_state.reset();
    supervisor::camera_flags_reset();
    supervisor::set_video_flowing(1);
  }
  ~ReadyCamera() override { supervisor::set_video_flowing(0); }
};

}  // namespace link_test
