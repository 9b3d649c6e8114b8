// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_BASE_ROW_STEPS_H_
#define ZY_BASE_ROW_STEPS_H_

#include <cstddef>

// Byte offsets of eight rows from the first. A caller makes them once for all tiles, so that
// compilers keep them in registers instead of adding the pitch for each row.
class RowSteps {
 public:
  explicit RowSteps(std::ptrdiff_t pitch) {
    for (std::ptrdiff_t i = 0; i < 8; ++i) steps_[i] = i * pitch;
  }

  // Returns the start of row 0 to 15 of a tile that begins at `first`.
  template <typename Byte>
  [[gnu::always_inline]] Byte* Row(Byte* first, std::ptrdiff_t row) const {
    return first + row / 8 * (steps_[7] + steps_[1]) + steps_[row % 8];
  }

 private:
  std::ptrdiff_t steps_[8];
};

#endif  // ZY_BASE_ROW_STEPS_H_
