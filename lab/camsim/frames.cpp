// SPDX-License-Identifier: Apache-2.0
#include "camsim/frames.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "camsim/upright.h"
#include "framework/own_node.h"
#include "record/recording.h"

namespace camsim {
namespace {

// A node counts the faces of a request in 8 bits.
constexpr int kMaxSentFaces = 255;

common::Failure NoNetworks(const std::string& why) {
  return common::Fail("no networks: " + why + "; ./dev models fetches and builds them");
}

// Returns the smallest part of a picture, of its aspect ratio and even, that holds faces and a
// quarter of each around it.
common::Rect CropAround(const std::vector<common::Rect>& faces, Size picture) {
  int left = picture.width, top = picture.height, right = 0, bottom = 0;
  for (const common::Rect& face : faces) {
    left = std::clamp(face.x - face.w / 4, 0, left);
    top = std::clamp(face.y - face.h / 4, 0, top);
    right = std::clamp(face.x + face.w + face.w / 4, right, picture.width);
    bottom = std::clamp(face.y + face.h + face.h / 4, bottom, picture.height);
  }
  left = left / 2 * 2;
  top = top / 2 * 2;
  right = std::min(right / 2 * 2 + right % 2 * 2, picture.width);
  bottom = std::min(bottom / 2 * 2 + bottom % 2 * 2, picture.height);
  const double scale = std::max({static_cast<double>(right - left) / picture.width,
                                 static_cast<double>(bottom - top) / picture.height,
                                 16.0 / picture.width, 16.0 / picture.height});
  const auto even = [scale](int side) {
    return std::min(static_cast<int>(std::ceil(side * scale / 2 - 1e-9)) * 2, side / 2 * 2);
  };
  const int width = even(picture.width), height = even(picture.height);
  const auto place = [](int begin, int end, int size, int whole) {
    return std::clamp((begin + end - size) / 2, 0, whole - size) / 2 * 2;
  };
  return {place(left, right, width, picture.width), place(top, bottom, height, picture.height),
          width, height};
}

}  // namespace

common::Rect ChooseCrop(std::vector<common::Rect> faces, Size picture) {
  const common::Rect whole = {0, 0, picture.width, picture.height};
  std::sort(faces.begin(), faces.end(), [](const auto& a, const auto& b) { return a.w > b.w; });
  faces.resize(std::min<std::size_t>(faces.size(), framework::kSlots));
  for (; !faces.empty(); faces.pop_back()) {
    const common::Rect crop = CropAround(faces, picture);
    const bool are_analysed = framework::IsAnalysed(faces.back(), {crop.w, crop.h}, 270);
    if (are_analysed || faces.size() == 1) return crop;
  }
  return whole;
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

common::Failure Frames::Open() {
  if (common::Failure failure = media::OpenFrameSource(options_.source, &source_)) {
    return failure;
  }
  crop_ = options_.crop;
  if (options_.chooses_crop) {
    // The first frame is searched before it is sent, and an input may not go back.
    bool at_end = false;
    if (common::Failure failure = source_->Next(&picture_, &at_end)) return failure;
    has_first_ = !at_end;
    if (has_first_) crop_ = ChooseCrop(Faces(), {source_->Width(), source_->Height()});
    has_searched_ = false;
  }
  const Size size = PictureSize();
  if (crop_ &&
      (crop_->x > source_->Width() - crop_->w || crop_->y > source_->Height() - crop_->h)) {
    return common::FailUsage("--crop reaches out of the " +
                             common::SizeText(source_->Width(), source_->Height()) + " picture");
  }
  for (const common::Rect& face : options_.faces) {
    if (face.x < size.width && face.y < size.height) continue;
    return common::FailUsage("--face " + std::to_string(face.x) + "," + std::to_string(face.y) +
                             " lies outside the " + common::SizeText(size.width, size.height) +
                             " picture");
  }
  return std::nullopt;
}

Size Frames::SentSize(int orientation) const {
  return TurnToSensor(PictureSize(), TurnOf(orientation));
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
    has_first_ = false;
    next_ = 0;
  }
  // The first frame was read ahead.
  common::Failure failure = source_->Skip(index - next_ - (has_first_ ? 1 : 0));
  has_first_ = false;
  next_ = index;
  return failure;
}

common::Failure Frames::Next(bool* at_end) {
  // A recording has no larger index.
  *at_end = next_ > record::kMaxFrameIndex;
  if (*at_end) return std::nullopt;
  common::Failure failure;
  if (!has_first_) failure = source_->Next(&picture_, at_end);
  has_first_ = false;
  if (failure || *at_end) return failure;
  ++next_;
  if (!crop_) return std::nullopt;
  std::swap(picture_, whole_);
  return media::CropFrame(whole_, *crop_, options_.source.stride, &picture_);
}

std::vector<common::Rect> Frames::SourceFaces() const {
  std::vector<common::Rect> faces;
  for (common::Rect face : source_->Faces()) {
    if (crop_ && common::Overlap(face, *crop_) == 0) continue;
    face.x -= crop_ ? crop_->x : 0;
    face.y -= crop_ ? crop_->y : 0;
    faces.push_back(face);
  }
  return faces;
}

std::vector<common::Rect> Frames::Faces() {
  if (!options_.found_faces) return options_.faces.empty() ? SourceFaces() : options_.faces;
  // A picture shows the same faces in every frame.
  if (source_->IsEndless() && !options_.source.input.empty() && has_searched_) return found_;
  has_searched_ = true;
  ZyFoundRect found[kMaxSentFaces];
  const int count = find_(picture_.Luma(), picture_.Chroma(), picture_.width, picture_.height,
                          picture_.stride, *options_.found_faces, found, kMaxSentFaces);
  found_.clear();
  for (int i = 0; i < count; ++i) {
    found_.push_back({found[i].x, found[i].y, found[i].width, found[i].height});
  }
  return found_;
}

common::Failure Frames::Turn(int orientation, media::Nv12Frame** sent) {
  *sent = options_.IsUpright() ? &turned_ : &picture_;
  if (*sent == &picture_) return std::nullopt;
  return TurnToSensor(picture_, orientation, options_.source.stride, &turned_);
}

std::vector<common::Rect> Frames::Turned(std::vector<common::Rect> faces, int orientation,
                                         Size size) const {
  for (common::Rect& face : faces) face = TurnToSensor(face, TurnOf(orientation), size);
  return faces;
}

}  // namespace camsim
