// SPDX-License-Identifier: Apache-2.0
// The face detector for camera frames, libzy_networks.so. camsim opens it for --faces auto and
// finds these functions by name. One thread at a time.
#ifndef ZY_REAL_MODELS_FIND_FACES_H_
#define ZY_REAL_MODELS_FIND_FACES_H_

#include <cstdint>

// In pixels of the frame, inside it.
struct ZyFoundRect {
  int32_t x, y, width, height;
};

extern "C" {
// Loads the detector's file, and checks whether those of the model libraries are readable too.
// Returns null on success, else a line with the missing or damaged file, valid until the process
// ends.
const char* zy_open_face_finder();

// Stores up to `capacity` faces of a frame whose score reaches `threshold` (0 to 1) into `faces`,
// the largest first, and returns their number. The frame has a plane of luma and one of byte pairs
// (U, V) at half its resolution, rows `stride` bytes apart. Requires a successful
// zy_open_face_finder.
int32_t zy_find_faces(const uint8_t* luma, const uint8_t* chroma, int32_t width, int32_t height,
                      int32_t stride, float threshold, ZyFoundRect* faces, int32_t capacity);
}

#endif  // ZY_REAL_MODELS_FIND_FACES_H_
