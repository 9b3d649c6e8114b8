// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_FACE_FINDER_H_
#define ZY_APPS_CAMSIM_FACE_FINDER_H_

#include <string>
#include <vector>

#include "media/error.h"
#include "media/geometry.h"
#include "media/nv12.h"
#include "real_models/find_faces.h"

namespace camsim {

// A node counts the faces of a request in 8 bits.
inline constexpr int kMaxSentFaces = 255;

// Finds the faces in upright frames by the networks that `./dev models` builds. One thread at a
// time.
class FaceFinder {
 public:
  // Opens the library of networks in the folder. Fails unless every network can be used.
  media::Failure Open(const std::string& folder);

  // The faces of a frame whose score reaches `threshold` (0 to 1), the largest first.
  std::vector<media::Rect> Find(const media::Nv12Frame& frame, float threshold) const;

 private:
  decltype(&zy_find_faces) find_ = nullptr;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_FACE_FINDER_H_
