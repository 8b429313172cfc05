#include "flightlink/wire/serial_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace flightlink {
namespace {

struct SpeedRow {
  int speed;
  speed_t code;
};

constexpr SpeedRow kSpeeds[] = {{2400, B2400}, {4800, B4800}, {115200, B115200}};

speed_t speed_code(int speed) {
  for (const SpeedRow& row : kSpeeds) {
    if (row.speed == speed) return row.code;
  }
  return B9600;
}

void set_parity(termios& settings, char parity, tcflag_t parity_input) {
  if (parity != 'O' && parity != 'E') return;
  settings.c_cflag |= PARENB;
  if (parity == 'O') settings.c_cflag |= PARODD;
  settings.c_iflag |= parity_input;
}

}  // namespace

int serial_line_open(const char* path, int first_flags) {
  const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) {
    std::perror("can't open seria port ttyS0");  // the name is the message's, whatever the path is
    return -1;
  }
  std::printf("open %s success!\n", path);
  if (fcntl(fd, F_SETFL, first_flags) < 0) {
    std::printf("fcntl failed!\n");
  } else {
    std::printf("fcntl=%d\n", fcntl(fd, F_SETFL, 0));
  }
  std::printf(isatty(STDIN_FILENO) != 0 ? "isatty success!\n"
                                        : "standard input is not a terminal device\n");
  return fd;
}

int serial_line_set_opt(int fd, int speed, int data_bits, char parity, int stop_bits,
                        tcflag_t parity_input) {
  termios old{};
  if (tcgetattr(fd, &old) != 0) {
    std::perror("setup serial");
    return -1;
  }
  termios settings{};
  settings.c_cflag = CLOCAL | CREAD | (data_bits == 8 ? CS8 : data_bits == 7 ? CS7 : CS5);
  set_parity(settings, parity, parity_input);
  if (stop_bits == 2) settings.c_cflag |= CSTOPB;
  cfsetispeed(&settings, speed_code(speed));
  cfsetospeed(&settings, speed_code(speed));
  tcflush(fd, TCIFLUSH);
  if (tcsetattr(fd, TCSANOW, &settings) != 0) {
    std::perror("com set error");
    return -1;
  }
  std::printf("set done!\n");
  return 0;
}

}  // namespace flightlink
