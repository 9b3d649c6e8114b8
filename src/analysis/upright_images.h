// SPDX-License-Identifier: Apache-2.0
// Makes the two upright half-size images for the models from a whole preview frame.
#ifndef ZY_ANALYSIS_UPRIGHT_IMAGES_H_
#define ZY_ANALYSIS_UPRIGHT_IMAGES_H_

#include <cstdint>

// Makes the colour tables ready; called before prepareDataForFaceAnalyse. The tables are constants,
// so concurrent calls are harmless. Any thread.
void VP8YUVInit();

namespace android {

// Takes every second pixel of every second row, upright, as a luma image and a colour image.
//   `luma` holds width x height bytes; `chroma` holds height / 2 rows of `width` bytes, interleaved
//   U, V pairs. Both have a pitch of `width` bytes. The caller owns all buffers; none may overlap.
//   `gray` receives one byte for each pixel, `rgb` three (blue, green, red), both without padding.
//   The images have width/2 x height/2 pixels for an orientation of 90 or 270 degrees, and height/2
//   x width/2 for 0, 180 and every other value (halves truncated). `flip` 1 mirrors the image at 0,
//   180 and other values; any other value does not.
//   At orientation 0 without the mirror the chroma pairs are taken as V, U.
//   With an odd height, the last chroma row also serves the row below it. With an odd width, the
//   last byte of a chroma row belongs to no pair: a pair that would end on it begins one byte
//   earlier.
//   Writes nothing when width or height is below 2 or a pointer is null.
//   Any thread.
void prepareDataForFaceAnalyse(const uint8_t* luma, const uint8_t* chroma, uint8_t* gray,
                               uint8_t* rgb, int width, int height, int orientation, int flip);

}  // namespace android

#endif  // ZY_ANALYSIS_UPRIGHT_IMAGES_H_
