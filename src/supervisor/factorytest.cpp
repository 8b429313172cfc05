// factorytest: what the factory starts instead of the main task, with a card that holds the marker
// KRVMEDIA/testmode.conf. The camera service's client, for the photo and the recording test, and
// the runner. Takes no arguments; ends by a signal, or at once with status 255 when there is no
// marker.
#include "camera/client.h"
#include "supervisor/startup.h"
#include "supervisor/testmode/testmode.h"

int main() {
  supervisor::prepare_process();
  camera::cam_json_init();
  return supervisor::testmode_run();
}
