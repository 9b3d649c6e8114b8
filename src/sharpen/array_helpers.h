// SPDX-License-Identifier: Apache-2.0
// Two- and three-dimensional indexing over flat memory: arrays of floats, and views of an 8-bit
// image.
//
// In every shape the elements lie in one block in row-major order, and tables of pointers lead into
// it: a[i][j] is element i * cols + j, and a[i][j][k] is element (i * rows + j) * cols + k. a[0] of
// a two-dimensional shape is the start of the elements; of a three-dimensional one a[0] is the
// start of the row table and a[0][0] the start of the elements. Sizes count elements.
//
// The builders return null when a count is negative, when a size in bytes exceeds memory, or when
// an allocation fails; earlier allocations are then released in their order. A count of 0 gives an
// object without elements, which is released like any other. Blocks come from malloc. Each object
// needs its matching release function and no other. The release functions accept null and leave the
// caller's pointer unchanged.
//
// Any thread; an object is used by one thread at a time.
#ifndef ZY_SHARPEN_ARRAY_HELPERS_H_
#define ZY_SHARPEN_ARRAY_HELPERS_H_

// Allocates a float array, not initialised: the elements, then the row table.
float** allocD2(int rows, int cols);

// Allocates a float array, not initialised: the elements, the row table, then the plane table.
// Returns null as well when rows * cols does not fit an int.
float*** allocD3(int planes, int rows, int cols);

// Makes a view of `image`, rows * cols bytes. They stay the caller's, are neither copied nor
// released, and must outlive the view's use. A null image gives null. Allocates the row table.
unsigned char** convertU1ToU2(unsigned char* image, int rows, int cols);

// Does the same for planes * rows * cols bytes. Allocates the row table, then the plane table.
unsigned char*** convertU1ToU3(unsigned char* image, int planes, int rows, int cols);

// Releases an array of allocD2: the elements, then the row table.
void freeD2(float** matrix);

// Releases an array of allocD3: the elements, the row table, then the plane table. Never for a view
// of convertU1ToU3, whose image it would release as elements.
void freeD3(float*** cube);

// Releases a view of convertU1ToU2: the row table.
void freeConvertedU2(unsigned char** view);

// Releases a view of convertU1ToU3: the row table, then the plane table.
void freeConvertedU3(unsigned char*** view);

#endif  // ZY_SHARPEN_ARRAY_HELPERS_H_
