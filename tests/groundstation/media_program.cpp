#include "groundstation/media_program.h"

#include <fmt/format.h>

#include <random>

namespace groundstation_test {

std::string contents(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

ProgramResult media(FakeMediaCamera& camera, const std::string& arguments, const std::string& input,
                    const std::string& before) {
  return run_program(fmt::format("--camera 127.0.0.1 --bind 127.0.0.1 media --port {} {}",
                                 camera.port(), arguments),
                     input, before);
}

}  // namespace groundstation_test
