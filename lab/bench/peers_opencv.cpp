// SPDX-License-Identifier: Apache-2.0
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "bench/peers.h"

namespace bench {
namespace {

// A workspace's memory as matrices: source and destinations.
struct Planes {
  explicit Planes(const Workspace& space)
      : width(space.width),
        height(space.height),
        luma(height, width, CV_8UC1, space.source.data()),
        chroma(height / 2, width / 2, CV_8UC2, space.source.data() + space.pixels()),
        to(space.destination.data()) {}

  cv::Mat Result(int rows, int columns, int type) const { return {rows, columns, type, to}; }

  int width;
  int height;
  cv::Mat luma;
  cv::Mat chroma;
  uint8_t* to;
};

// Returns OpenCV's code of a rotation, -1 for none.
int CodeOf(int rotation) {
  switch (rotation) {
    case 90:
      return cv::ROTATE_90_CLOCKWISE;
    case 180:
      return cv::ROTATE_180;
    case 270:
      return cv::ROTATE_90_COUNTERCLOCKWISE;
    default:
      return -1;
  }
}

void Rotate(const Planes& p, int rotation) {
  const bool turned = rotation != 180;
  const int columns = turned ? p.height : p.width;
  const int rows = turned ? p.width : p.height;
  cv::Mat luma = p.Result(rows, columns, CV_8UC1);
  cv::Mat chroma(rows / 2, columns / 2, CV_8UC2, p.to + p.luma.total());
  cv::rotate(p.luma, luma, CodeOf(rotation));
  cv::rotate(p.chroma, chroma, CodeOf(rotation));
}

void Shrink(const Planes& p, int factor) {
  cv::Mat small = p.Result(p.height / factor, p.width / factor, CV_8UC1);
  cv::resize(p.luma, small, small.size(), 0, 0, cv::INTER_AREA);
}

// Turns a picture like a crop.
void Turn(const cv::Mat& from, cv::Mat* to, int orientation, bool mirrored) {
  if (orientation == 270) {
    *to = from;
  } else if (orientation == 90) {
    cv::rotate(from, *to, cv::ROTATE_180);
  } else if (!mirrored) {
    cv::rotate(from, *to,
               orientation == 0 ? cv::ROTATE_90_CLOCKWISE : cv::ROTATE_90_COUNTERCLOCKWISE);
  } else {
    cv::transpose(from, *to);
    if (orientation == 0) cv::flip(*to, *to, -1);
  }
}

// Makes the crop in separate steps, with OpenCV's own colours.
class Cropper {
 public:
  Cropper(const Planes& p, int orientation, bool mirrored)
      : p_(p), orientation_(orientation), mirrored_(mirrored) {}

  void operator()() {
    cv::resize(p_.luma, half_, p_.chroma.size(), 0, 0, cv::INTER_NEAREST);
    Turn(half_, &gray_, orientation_, mirrored_);
    Turn(p_.chroma, &pairs_, orientation_, mirrored_);
    cv::mixChannels(std::vector<cv::Mat>{gray_, pairs_}, Joined(), {0, 0, 1, 2, 2, 1});
    cv::Mat rgb(gray_.size(), CV_8UC3, p_.to + gray_.total());
    cv::cvtColor(joined_, rgb, cv::COLOR_YCrCb2BGR);
    cv::Mat gray(gray_.size(), CV_8UC1, p_.to);
    gray_.copyTo(gray);
  }

 private:
  std::vector<cv::Mat> Joined() {
    joined_.create(gray_.size(), CV_8UC3);
    return {joined_};
  }

  Planes p_;
  int orientation_;
  bool mirrored_;
  cv::Mat half_, gray_, pairs_, joined_;
};

// Sharpens with the same kernel; OpenCV's correlation takes its weights as fractions.
void Sharpen(const Planes& p) {
  static const cv::Mat kernel =
      (cv::Mat_<float>(3, 3) << -3, -12, -3, -12, 76, -12, -3, -12, -3) / 16;
  cv::Mat sharp = p.Result(p.height, p.width, CV_8UC1);
  cv::filter2D(p.luma, sharp, -1, kernel);
}

void SmoothInPlace(const Planes& p) {
  const cv::Mat map = p.Result(p.height, p.width, CV_8UC1);
  cv::GaussianBlur(map, map, {3, 3}, 0);
}

// Smooths without the copy that OpenCV makes for an in-place call.
void SmoothElsewhere(const Planes& p) {
  cv::Mat smooth = p.Result(p.height, p.width, CV_8UC1);
  cv::GaussianBlur(p.luma, smooth, {3, 3}, 0);
}

}  // namespace

void AddOpenCvPeers(const Workspace& space, Task* task) {
  cv::setNumThreads(1);
  const Planes p(space);
  switch (task->work) {
    case Work::kCopy:
      if (task->parameter == 0) return;
      task->peers.push_back({kOpenCv, [p, rotation = task->parameter] { Rotate(p, rotation); }});
      break;
    case Work::kShrink:
      task->peers.push_back({kOpenCv, [p, factor = task->parameter] { Shrink(p, factor); }});
      break;
    case Work::kCrop:
      task->peers.push_back({kOpenCv, Cropper(p, task->parameter, task->mirrored)});
      break;
    case Work::kSharpen:
      task->peers.push_back({kOpenCv, [p] { Sharpen(p); }});
      break;
    case Work::kSmooth:
      task->peers.push_back({kOpenCv, [p] { SmoothInPlace(p); }});
      task->peers.push_back({"OpenCV, to a second plane", [p] { SmoothElsewhere(p); }});
      break;
    default:
      break;
  }
}

std::string OpenCvVersion() { return "OpenCV " CV_VERSION " with one thread"; }

}  // namespace bench
