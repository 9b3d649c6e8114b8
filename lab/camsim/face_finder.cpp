// SPDX-License-Identifier: Apache-2.0
#include "camsim/face_finder.h"

#include <dlfcn.h>

namespace camsim {
namespace {

media::Failure NoNetworks(const std::string& why) {
  return media::Fail("no networks: " + why + "; ./dev models fetches and builds them");
}

}  // namespace

media::Failure FaceFinder::Open(const std::string& folder) {
  void* const library = dlopen((folder + "/libzy_networks.so").c_str(), RTLD_NOW);
  if (library == nullptr) return NoNetworks(dlerror());
  const auto open =
      reinterpret_cast<decltype(&zy_open_face_finder)>(dlsym(library, "zy_open_face_finder"));
  find_ = reinterpret_cast<decltype(&zy_find_faces)>(dlsym(library, "zy_find_faces"));
  if (open == nullptr || find_ == nullptr) return NoNetworks(folder + ": has no finder of faces");
  const char* const error = open();
  return error != nullptr ? NoNetworks(error) : std::nullopt;
}

std::vector<media::Rect> FaceFinder::Find(const media::Nv12Frame& frame,
                                             float threshold) const {
  ZyFoundRect found[kMaxSentFaces];
  const int count = find_(frame.Luma(), frame.Chroma(), frame.width, frame.height, frame.stride,
                          threshold, found, kMaxSentFaces);
  std::vector<media::Rect> faces;
  for (int i = 0; i < count; ++i) {
    faces.push_back({found[i].x, found[i].y, found[i].width, found[i].height});
  }
  return faces;
}

}  // namespace camsim
