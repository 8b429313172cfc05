// Threads that do nothing but wake up: the reference of what a program costs that is idle.
//   sleepers RATE...    a thread for each, with so many wake-ups per second
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <thread>

namespace {

// As a loop of the program does: a pause after each wake-up.
void wake(double per_second) {
  timespec pause{};
  const double seconds = 1 / per_second;
  pause.tv_sec = static_cast<time_t>(seconds);
  pause.tv_nsec = static_cast<long>((seconds - static_cast<double>(pause.tv_sec)) * 1e9);
  for (;;) clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; i++) {
    const double per_second = std::atof(argv[i]);
    if (per_second > 0.01) {
      std::thread(wake, per_second).detach();
    } else {
      std::thread(pause).detach();
    }
  }
  for (;;) pause();
}
