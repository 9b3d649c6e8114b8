// SPDX-License-Identifier: Apache-2.0
#include "sharpen/array_helpers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

bool AreCounts(int planes, int rows, int cols) { return planes >= 0 && rows >= 0 && cols >= 0; }

// Returns planes * rows * cols items in bytes; nullopt above PTRDIFF_MAX, beyond any memory.
std::optional<std::size_t> BytesOf(int planes, int rows, int cols, std::size_t item) {
  const std::size_t all_rows = static_cast<std::size_t>(planes) * static_cast<std::size_t>(rows);
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(all_rows, static_cast<std::size_t>(cols), &bytes)) return {};
  if (__builtin_mul_overflow(bytes, item, &bytes) || bytes > PTRDIFF_MAX) return {};
  return bytes;
}

float* AllocateFloats(int planes, int rows, int cols) {
  const auto bytes = BytesOf(planes, rows, cols, sizeof(float));
  return bytes ? static_cast<float*>(std::malloc(*bytes)) : nullptr;
}

// Allocates a table of planes * rows pointers to runs of `step` items. Entry 0 always exists and
// points to the first item, because the release functions read it.
template <class Item>
Item** MakeTable(Item* items, int planes, int rows, int step) {
  const auto bytes = BytesOf(planes, rows, 1, sizeof(Item*));
  if (!bytes) return nullptr;
  auto** table = static_cast<Item**>(std::malloc(std::max(*bytes, sizeof(Item*))));
  if (table == nullptr) return nullptr;
  table[0] = items;
  const std::ptrdiff_t count = std::ptrdiff_t{planes} * rows;
  for (std::ptrdiff_t i = 1; i < count; ++i) table[i] = items + i * step;
  return table;
}

// Releases the block behind entry 0, then the table.
template <class Item>
void FreeFirstAndTable(Item** table) {
  if (table == nullptr) return;
  std::free(table[0]);
  std::free(table);
}

}  // namespace

float** allocD2(int rows, int cols) {
  if (!AreCounts(1, rows, cols)) return nullptr;
  float* elements = AllocateFloats(1, rows, cols);
  if (elements == nullptr) return nullptr;
  float** matrix = MakeTable(elements, 1, rows, cols);
  if (matrix == nullptr) std::free(elements);
  return matrix;
}

float*** allocD3(int planes, int rows, int cols) {
  if (!AreCounts(planes, rows, cols)) return nullptr;
  int plane_elements = 0;
  if (__builtin_mul_overflow(rows, cols, &plane_elements)) return nullptr;
  float* elements = AllocateFloats(planes, rows, cols);
  if (elements == nullptr) return nullptr;
  float** row_table = MakeTable(elements, planes, rows, cols);
  float*** cube = row_table == nullptr ? nullptr : MakeTable(row_table, planes, 1, rows);
  if (cube == nullptr) {
    std::free(elements);
    std::free(row_table);
  }
  return cube;
}

unsigned char** convertU1ToU2(unsigned char* image, int rows, int cols) {
  if (image == nullptr || !AreCounts(1, rows, cols)) return nullptr;
  return MakeTable(image, 1, rows, cols);
}

unsigned char*** convertU1ToU3(unsigned char* image, int planes, int rows, int cols) {
  if (image == nullptr || !AreCounts(planes, rows, cols)) return nullptr;
  if (!BytesOf(planes, rows, cols, sizeof *image)) return nullptr;
  unsigned char** row_table = MakeTable(image, planes, rows, cols);
  if (row_table == nullptr) return nullptr;
  unsigned char*** view = MakeTable(row_table, planes, 1, rows);
  if (view == nullptr) std::free(row_table);
  return view;
}

void freeD2(float** matrix) { FreeFirstAndTable(matrix); }

void freeConvertedU3(unsigned char*** view) { FreeFirstAndTable(view); }

void freeConvertedU2(unsigned char** view) { std::free(view); }

void freeD3(float*** cube) {
  if (cube == nullptr) return;
  std::free(cube[0][0]);
  FreeFirstAndTable(cube);
}
