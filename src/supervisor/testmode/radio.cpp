#include "supervisor/testmode/radio.h"

#include "base/clock.h"
#include "base/relaxed.h"
#include "base/shell.h"

namespace supervisor {

RadioTestState tx99{};

namespace {

using base::kRelaxed;

constexpr const char* kEmptyFolders[] = {
    "/bin/rm -f /tmp/SD0/KRVMEDIA/VIDEO/*",
    "/bin/rm -f /tmp/SD0/KRVMEDIA/PIC/*",
};

constexpr const char* kReloadDriver[] = {
    "killall wpa_supplicant",
    "rmmod ath6kl_usb",
    "/sbin/insmod /usr/local/share/script/USB25/ath6kl_usb.ko testmode=0x01",
};

// By chain, from 1 on.
constexpr const char* kTransmit[] = {
    "/usr/local/ath6kl/athtcmd -i wlan0 --tx tx99 --txfreq 9 --txrate 11 --txpwr 20 --txchain 1",
    "/usr/local/ath6kl/athtcmd -i wlan0 --tx tx99 --txfreq 9 --txrate 11 --txpwr 20 --txchain 2",
};
constexpr int32_t kChains = 2;

void prepare_once() {
  if (tx99.started.exchange(1, kRelaxed) != 0) return;
  for (const char* command : kEmptyFolders) base::run_shell(command);
  while (tx99.wait.load(kRelaxed) == 1) base::sleep_ms(100);
  for (const char* command : kReloadDriver) base::run_shell(command);
  base::sleep_s(1);
}

}  // namespace

void testmode_radio_clear() {
  tx99.started.store(0, kRelaxed);
  tx99.wait.store(0, kRelaxed);
}

void testmode_radio_test(int32_t chain) {
  prepare_once();
  if (chain >= 1 && chain <= kChains) base::run_shell(kTransmit[chain - 1]);
}

}  // namespace supervisor
