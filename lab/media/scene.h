// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_SCENE_H_
#define ZY_MEDIA_SCENE_H_

#include <cstdint>
#include <vector>

#include "common/geometry.h"
#include "media/nv12.h"

namespace media {

// The built-in scene: drawn faces of different tones and sizes that drift before a soft background.
// It uses integers only, so the arguments alone determine it: a usable size of at least
// kMinSceneSide in both directions, 1..kMaxSceneFaces faces, a frame index from 0. Any thread.
inline constexpr int kMinSceneSide = 16;
inline constexpr int kMaxSceneFaces = 3;

// Returns the faces of frame `index`, from left to right, each wholly inside the picture and
// without overlaps.
std::vector<common::Rect> SceneFaces(int width, int height, int faces, int64_t index);

// Draws frames of one size, directly into luma and chroma: at 4K, drawing in RGB and converting
// would be too slow for a camera's rate.
class Scene {
 public:
  // Takes the arguments of SceneFaces; `stride` fits the width (CheckFrameShape).
  Scene(int width, int height, int stride, int faces);

  // Draws frame `index` into `frame`, reusing its memory. Returns the frame's faces.
  std::vector<common::Rect> Draw(int64_t index, Nv12Frame* frame) const;

 private:
  Nv12Frame background_;
  int faces_;
};

}  // namespace media

#endif  // ZY_MEDIA_SCENE_H_
