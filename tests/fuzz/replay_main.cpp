// SPDX-License-Identifier: Apache-2.0
// Replaces the fuzzer where there is none: passes the files of a directory to the target, once
// each, in the order of their names.
// usage: fuzz_TARGET_replay DIRECTORY
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size);

int main(int count, char** values) {
  if (count != 2) return 2;
  const std::filesystem::directory_iterator entries(values[1]);
  const std::set<std::filesystem::path> files(begin(entries), end(entries));
  for (const std::filesystem::path& file : files) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
