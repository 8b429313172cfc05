#include "flightlink/firmware/step_file.h"

#include "base/descriptor.h"
#include "base/shell.h"
#include "base/text.h"

namespace flightlink {
namespace {

struct StepRow {
  int32_t step;
  char letter;
};

// This process only writes T and M; the others are kept for readers and writers of the same card.
constexpr StepRow kSteps[] = {
    {0, 'P'}, {1, 'B'}, {kStepTransfer, 'T'}, {kStepReceived, 'M'}, {4, 'R'}, {5, 'E'}, {6, 'S'},
};
constexpr char kOtherStep = 'U';

char letter_of(int32_t step) {
  for (const StepRow& row : kSteps) {
    if (row.step == step) return row.letter;
  }
  return kOtherStep;
}

}  // namespace

int32_t fw_step_set(int32_t step) {
  base::File file(std::fopen(kFirmwareStepFile, "wb"));
  if (file == nullptr) return -1;
  std::fputc(letter_of(step), file.get());
  return std::fclose(file.release()) == 0 ? 0 : -1;
}

int32_t fw_step_get() {
  const base::File file(std::fopen(kFirmwareStepFile, "rb"));
  if (file == nullptr) return kStepNoFile;
  const int letter = std::fgetc(file.get());
  for (const StepRow& row : kSteps) {
    if (row.letter == letter) return row.step;
  }
  return 0;
}

void fw_step_delete() {
  char command[100];
  base::format_text(command, "rm -rf %s", kFirmwareStepFile);
  base::run_shell(command);
}

}  // namespace flightlink
