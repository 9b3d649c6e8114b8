// SPDX-License-Identifier: Apache-2.0
// Random scripts for the node and its model, and what no script can tell.
#include <gtest/gtest.h>

#include <random>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size);

TEST(NodeModelTest, TheNodeDoesWhatItsModelDoes) {
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    std::vector<uint8_t> script(800);
    for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
    LLVMFuzzerTestOneInput(script.data(), script.size());
  }
}
