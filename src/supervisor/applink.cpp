// applink: the main task for an aircraft whose application comes by TCP: the same services, and
// with them the application server (TCP 8866), the stick socket (UDP 8867) and the bridge to the
// flight controller on the serial line. It takes the place of maintask; the two do not run side by
// side. Takes no arguments and ends through a signal.
//
// The road to the UDP peer is served as well: frames of the application for the system ids with the
// low nibble 5 leave on it. Without a peer it costs an idle socket.
#include "flightlink/links/app_link.h"
#include "flightlink/links/serial_link.h"
#include "flightlink/links/stick_link.h"
#include "supervisor/fifo/reader.h"
#include "supervisor/startup.h"

int main() {
  supervisor::prepare_process();
  supervisor::start_services();
  flightlink::serial_link_start();
  flightlink::app_link_start();
  flightlink::stick_link_start();
  supervisor::live_fifo_run();
}
