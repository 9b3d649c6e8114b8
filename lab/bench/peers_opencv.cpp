// SPDX-License-Identifier: Apache-2.0
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "bench/kernel_tasks.h"

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

  cv::Mat Result(int rows, int columns, int type = CV_8UC1) const {
    return {rows, columns, type, to};
  }

  int width, height;
  cv::Mat luma, chroma;
  uint8_t* to;
};

// Rotates clockwise by 90, 180 or 270 degrees, which the library numbers from 0.
void Rotate(const cv::Mat& from, cv::OutputArray to, int degrees) {
  cv::rotate(from, to, degrees / 90 - 1);
}

void RotateFrame(const Planes& p, int degrees) {
  const bool turned = degrees != 180;
  const int columns = turned ? p.height : p.width;
  const int rows = turned ? p.width : p.height;
  const cv::Mat chroma(rows / 2, columns / 2, CV_8UC2, p.to + p.luma.total());
  Rotate(p.luma, p.Result(rows, columns), degrees);
  Rotate(p.chroma, chroma, degrees);
}

void Shrink(const Planes& p, int factor) {
  const cv::Mat small = p.Result(p.height / factor, p.width / factor);
  cv::resize(p.luma, small, small.size(), 0, 0, cv::INTER_AREA);
}

// Turns a picture like a crop.
void Turn(const cv::Mat& from, cv::Mat* to, int orientation, bool mirrored) {
  if (orientation == 270) {
    *to = from;
  } else if (!mirrored) {
    Rotate(from, *to, (orientation + 90) % 360);
  } else {
    cv::transpose(from, *to);
    if (orientation == 0) cv::flip(*to, *to, -1);
  }
}

// Makes the crop in separate steps, with OpenCV's own colours. Keeps its buffers between the runs.
class Cropper {
 public:
  Cropper(const Planes& p, int orientation, bool mirrored)
      : p_(p), orientation_(orientation), mirrored_(mirrored) {}

  void operator()() {
    cv::resize(p_.luma, half_, p_.chroma.size(), 0, 0, cv::INTER_NEAREST);
    Turn(half_, &gray_, orientation_, mirrored_);
    Turn(p_.chroma, &pairs_, orientation_, mirrored_);
    joined_.create(gray_.size(), CV_8UC3);
    cv::mixChannels(std::vector<cv::Mat>{gray_, pairs_}, std::vector<cv::Mat>{joined_},
                    {0, 0, 1, 2, 2, 1});
    const cv::Mat rgb(gray_.size(), CV_8UC3, p_.to + gray_.total());
    cv::cvtColor(joined_, rgb, cv::COLOR_YCrCb2BGR);
    gray_.copyTo(p_.Result(gray_.rows, gray_.cols));
  }

 private:
  Planes p_;
  int orientation_;
  bool mirrored_;
  cv::Mat half_, gray_, pairs_, joined_;
};

// Sharpens with the same kernel; OpenCV's correlation takes its weights as fractions.
void Sharpen(const Planes& p) {
  static const cv::Mat kernel =
      (cv::Mat_<float>(3, 3) << -3, -12, -3, -12, 76, -12, -3, -12, -3) / 16;
  cv::filter2D(p.luma, p.Result(p.height, p.width), -1, kernel);
}

// Smooths into the destination. In place, OpenCV first makes a copy.
void Smooth(const Planes& p, const cv::Mat& map) {
  cv::GaussianBlur(map, p.Result(p.height, p.width), {3, 3}, 0);
}

std::vector<Contender> ContendersFor(const Workspace& space, const Task& task) {
  cv::setNumThreads(1);
  const Planes p(space);
  const int parameter = task.parameter;
  switch (task.work) {
    case Work::kCopy:
      if (parameter == 0) return {};
      return {{kOpenCv, [p, parameter] { RotateFrame(p, parameter); }}};
    case Work::kShrink:
      return {{kOpenCv, [p, parameter] { Shrink(p, parameter); }}};
    case Work::kCrop:
    case Work::kCropMirrored:
      return {{kOpenCv, Cropper(p, parameter, task.work == Work::kCropMirrored)}};
    case Work::kSharpen:
      return {{kOpenCv, [p] { Sharpen(p); }}};
    case Work::kSmooth:
      return {{kOpenCv, [p] { Smooth(p, p.Result(p.height, p.width)); }},
              {"OpenCV, to a second plane", [p] { Smooth(p, p.luma); }}};
    default:
      return {};
  }
}

[[maybe_unused]] const bool g_is_added =
    AddPeers({"OpenCV " CV_VERSION " with one thread", ContendersFor});

}  // namespace
}  // namespace bench
