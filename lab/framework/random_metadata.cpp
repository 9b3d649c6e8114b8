// SPDX-License-Identifier: Apache-2.0
#include "framework/random_metadata.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace framework {

void SetRandomMetadata(std::mt19937* random, Metadata* metadata) {
  const VendorTags& tags = Framework::Get().Tags();
  const auto draw = [random](std::size_t below) {
    return static_cast<uint32_t>((*random)() % below);
  };
  // Any bits at times, else small ones.
  const auto draw_words = [&](std::size_t count, uint32_t below) {
    const bool is_wild = draw(4) == 0;
    std::vector<uint32_t> words(count);
    for (uint32_t& word : words) word = is_wild ? draw(UINT64_C(1) << 32) : draw(below);
    return words;
  };
  metadata->Clear();
  for (const auto& [id, tag] : tags.All()) {
    const std::size_t bytes = tag.ElementBytes() * tag.count;
    const std::vector<uint32_t> words = draw_words(bytes / 4 + 1, 3);
    if (draw(8) != 0) metadata->Set(id, words.data(), bytes, tag.count);
  }
  if (draw(2) == 0) {
    metadata->SetWords(tags.Id("com.qti.chi.multicamerainfo", "MultiCameraIdRole"),
                       std::vector<uint32_t>{0, 1, draw(9)});
    metadata->SetWords(tags.Id("brodax.sensorSize", "size"), std::vector<uint32_t>{4000, 3000});
  }
  const std::size_t words = draw(8) == 0 ? draw(1200) : draw(5) * 4;
  if (draw(8) != 0) metadata->SetWords(kChiFaceRectanglesTag, draw_words(words, 8000));
}

}  // namespace framework
