// SPDX-License-Identifier: Apache-2.0
// Two- and three-dimensional indexing over flat memory: float arrays of their own, and views of an
// 8-bit image.
//
// In every shape the elements lie in one block in row-major order, and tables of pointers lead into
// it: a[i][j] is element i * cols + j, and a[i][j][k] is element (i * rows + j) * cols + k. a[0] of
// a two-dimensional shape is the start of the elements; of a three-dimensional one a[0] is the
// start of the row table and a[0][0] the start of the elements. Sizes count elements.
//
// The builders return null when a count is negative, when a size in bytes is beyond what memory can
// hold, or when an allocation fails; what was allocated before is then released in the order of
// allocation. A count of 0 gives an object without elements that is released like any other. Blocks
// come from malloc. Whoever receives an object gives it to the matching release function, and to no
// other; the release functions accept null, and leave the caller's pointer as it is.
//
// Any thread; an object is used by one thread at a time.
#ifndef ZY_SHARPEN_ARRAY_HELPERS_H_
#define ZY_SHARPEN_ARRAY_HELPERS_H_

// A float array, not initialised. Allocates the elements, then the row table.
float** allocD2(int rows, int cols);

// A float array, not initialised. Allocates the elements, the row table, then the plane table.
// Returns null as well when rows * cols does not fit an int.
float*** allocD3(int planes, int rows, int cols);

// A view of `image`, rows * cols bytes, which stay the caller's: they are neither copied nor
// released, and must outlive the view's use. A null image gives null. Allocates the row table.
unsigned char** convertU1ToU2(unsigned char* image, int rows, int cols);

// The same for planes * rows * cols bytes. Allocates the row table, then the plane table.
unsigned char*** convertU1ToU3(unsigned char* image, int planes, int rows, int cols);

// Releases what allocD2 returned: the elements, then the row table.
void freeD2(float** matrix);

// Releases what allocD3 returned: the elements, the row table, then the plane table. Never for a
// view of convertU1ToU3: the image would be released as if it were the elements.
void freeD3(float*** cube);

// Releases what convertU1ToU2 returned: the row table.
void freeConvertedU2(unsigned char** view);

// Releases what convertU1ToU3 returned: the row table, then the plane table.
void freeConvertedU3(unsigned char*** view);

#endif  // ZY_SHARPEN_ARRAY_HELPERS_H_
