// SPDX-License-Identifier: Apache-2.0
#include "camsim/frames.h"

#include <dlfcn.h>

#include "camsim/upright.h"
#include "record/recording.h"

namespace camsim {
namespace {

// A node counts the faces of a request in 8 bits.
constexpr int kMaxSentFaces = 255;

common::Failure NoNetworks(const std::string& why) {
  return common::Fail("no networks: " + why + "; ./dev models fetches and builds them");
}

}  // namespace

common::Failure Frames::Open() {
  if (common::Failure failure = media::OpenFrameSource(options_.source, &source_)) {
    return failure;
  }
  const Size size = PictureSize();
  for (const common::Rect& face : options_.faces) {
    if (face.x < size.width && face.y < size.height) continue;
    return common::FailUsage("--face " + std::to_string(face.x) + "," + std::to_string(face.y) +
                             " lies outside the " + std::to_string(size.width) + "x" +
                             std::to_string(size.height) + " picture");
  }
  return std::nullopt;
}

common::Failure Frames::OpenFinder() {
  if (!options_.found_faces && !options_.real_models) return std::nullopt;
  const std::string& folder = options_.real_device;
  void* const library = dlopen((folder + "/libzy_networks.so").c_str(), RTLD_NOW);
  if (library == nullptr) return NoNetworks(dlerror());
  const auto open =
      reinterpret_cast<decltype(&zy_open_face_finder)>(dlsym(library, "zy_open_face_finder"));
  find_ = reinterpret_cast<decltype(&zy_find_faces)>(dlsym(library, "zy_find_faces"));
  if (open == nullptr || find_ == nullptr) return NoNetworks(folder + ": has no face detector");
  const char* const error = open();
  return error != nullptr ? NoNetworks(error) : std::nullopt;
}

Size Frames::SentSize(int orientation) const {
  return options_.IsUpright() ? TurnToSensor(PictureSize(), orientation) : PictureSize();
}

common::Failure Frames::GoTo(int64_t index) {
  if (index == next_) return std::nullopt;
  if (index < next_) {
    if (options_.source.input == "-") {
      return common::Fail("frame.index: standard input cannot be rewound");
    }
    if (common::Failure failure = media::OpenFrameSource(options_.source, &source_)) {
      return failure;
    }
    next_ = 0;
  }
  common::Failure failure = source_->Skip(index - next_);
  next_ = index;
  return failure;
}

common::Failure Frames::Next(bool* at_end) {
  // A recording has no larger index.
  *at_end = next_ > record::kMaxFrameIndex;
  if (*at_end) return std::nullopt;
  common::Failure failure = source_->Next(&picture_, at_end);
  if (!failure && !*at_end) ++next_;
  return failure;
}

std::vector<common::Rect> Frames::Faces() const {
  if (!options_.found_faces) return options_.faces.empty() ? source_->Faces() : options_.faces;
  ZyFoundRect found[kMaxSentFaces];
  const int count = find_(picture_.Luma(), picture_.Chroma(), picture_.width, picture_.height,
                          picture_.stride, *options_.found_faces, found, kMaxSentFaces);
  std::vector<common::Rect> faces;
  for (int i = 0; i < count; ++i) {
    faces.push_back({found[i].x, found[i].y, found[i].width, found[i].height});
  }
  return faces;
}

common::Failure Frames::Turn(int orientation, media::Nv12Frame** sent) {
  *sent = options_.IsUpright() ? &turned_ : &picture_;
  if (*sent == &picture_) return std::nullopt;
  return TurnToSensor(picture_, orientation, options_.source.stride, &turned_);
}

std::vector<common::Rect> Frames::Turned(std::vector<common::Rect> faces, int orientation,
                                         Size size) const {
  if (!options_.IsUpright()) return faces;
  for (common::Rect& face : faces) face = TurnToSensor(face, orientation, size);
  return faces;
}

}  // namespace camsim
