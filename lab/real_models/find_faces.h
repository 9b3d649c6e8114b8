// SPDX-License-Identifier: Apache-2.0
// The library that finds faces in a camera frame, libzy_networks.so. The simulator opens it when
// it is asked for faces, and looks these functions up by name. One thread at a time.
#ifndef ZY_REAL_MODELS_FIND_FACES_H_
#define ZY_REAL_MODELS_FIND_FACES_H_

#include <cstdint>

// In pixels of the frame, within it.
struct ZyFoundRect {
  int32_t x, y, width, height;
};

extern "C" {
// Reads the detector's file, and tries whether those of the model libraries can be read as well.
// Null when all is well, else a line that says what is missing or damaged, valid for good.
const char* zy_open_face_finder();

// Puts up to `capacity` faces of a frame whose score reaches `threshold` (0 to 1) into `faces`, the
// largest first, and returns their number. The frame has a plane of luma and one of byte pairs (U,
// V) at half its resolution, rows `stride` bytes apart. zy_open_face_finder must have succeeded.
int32_t zy_find_faces(const uint8_t* luma, const uint8_t* chroma, int32_t width, int32_t height,
                      int32_t stride, float threshold, ZyFoundRect* faces, int32_t capacity);
}

#endif  // ZY_REAL_MODELS_FIND_FACES_H_
