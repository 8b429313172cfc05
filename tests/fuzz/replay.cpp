// Runs a fuzz target over the files of folders, once each: what the search has found stays found.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* count, char*** arguments);

int main(int count, char** arguments) {
  int files = 0;
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&count, &arguments);
  for (int i = 1; i < count; i++) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i])) {
      if (!entry.is_regular_file()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      files++;
    }
  }
  std::fprintf(stderr, "%d files\n", files);
  return files > 0 ? 0 : 1;
}
