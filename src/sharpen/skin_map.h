// SPDX-License-Identifier: Apache-2.0
// Smoothing of a skin map, so that its values change gradually across a region's border.
#ifndef ZY_SHARPEN_SKIN_MAP_H_
#define ZY_SHARPEN_SKIN_MAP_H_

// Smooths `map`, `height` rows of `width` bytes without gaps, in place with the 3x3 binomial kernel
// (1 2 1; 2 4 2; 1 2 1) / 16, rounded down. Every result is computed from the original map.
//
// Writes rows 2 to height - 3, columns 2 to width - 3; a border of two samples keeps its values.
// Reads only the bytes of the map. A map of fewer than 5 rows or columns stays unchanged.
//
// Each call allocates width * height 16-bit elements with new[], uses at most the first 16 * width,
// and releases them on every way out. If that throws std::bad_alloc, the map is untouched. A size
// of 0 or above INT_MAX (a converted negative number) and a null map return before the allocation.
// Any thread; concurrent calls need different maps.
void smoothSkinMapGaussian(unsigned char* map, unsigned int width, unsigned int height);

#endif  // ZY_SHARPEN_SKIN_MAP_H_
