// SPDX-License-Identifier: Apache-2.0
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "bench/kernel_tasks.h"

namespace bench {
namespace {

// The frame and the place of results, as matrices.
cv::Mat Luma(const Workspace& s) { return {s.height, s.width, CV_8UC1, s.source.data()}; }
cv::Mat Chroma(const Workspace& s) {
  return {s.height / 2, s.width / 2, CV_8UC2, s.source.data() + s.pixels()};
}
cv::Mat Result(const Workspace& s, int rows, int columns) {
  return {rows, columns, CV_8UC1, s.to()};
}

// Rotates clockwise by 90, 180 or 270 degrees, which the library numbers from 0.
void Rotate(const cv::Mat& from, cv::OutputArray to, int degrees) {
  cv::rotate(from, to, degrees / 90 - 1);
}

void RotateFrame(const Workspace& s, int degrees) {
  const bool turned = degrees != 180;
  const int columns = turned ? s.height : s.width;
  const int rows = turned ? s.width : s.height;
  const cv::Mat chroma(rows / 2, columns / 2, CV_8UC2, s.to_chroma());
  Rotate(Luma(s), Result(s, rows, columns), degrees);
  Rotate(Chroma(s), chroma, degrees);
}

void Shrink(const Workspace& s, int factor) {
  const cv::Mat small = Result(s, s.height / factor, s.width / factor);
  cv::resize(Luma(s), small, small.size(), 0, 0, cv::INTER_AREA);
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
  Cropper(const Workspace& space, int orientation, bool mirrored)
      : space_(space), orientation_(orientation), mirrored_(mirrored) {}

  void operator()() {
    const cv::Mat chroma = Chroma(space_);
    cv::resize(Luma(space_), half_, chroma.size(), 0, 0, cv::INTER_NEAREST);
    Turn(half_, &gray_, orientation_, mirrored_);
    Turn(chroma, &pairs_, orientation_, mirrored_);
    joined_.create(gray_.size(), CV_8UC3);
    cv::mixChannels(std::vector<cv::Mat>{gray_, pairs_}, std::vector<cv::Mat>{joined_},
                    {0, 0, 1, 2, 2, 1});
    const cv::Mat rgb(gray_.size(), CV_8UC3, space_.to() + gray_.total());
    cv::cvtColor(joined_, rgb, cv::COLOR_YCrCb2BGR);
    gray_.copyTo(Result(space_, gray_.rows, gray_.cols));
  }

 private:
  const Workspace& space_;
  int orientation_;
  bool mirrored_;
  cv::Mat half_, gray_, pairs_, joined_;
};

// Sharpens with the same kernel; OpenCV's correlation takes its weights as fractions.
void Sharpen(const Workspace& s) {
  static const cv::Mat kernel =
      (cv::Mat_<float>(3, 3) << -3, -12, -3, -12, 76, -12, -3, -12, -3) / 16;
  cv::filter2D(Luma(s), Result(s, s.height, s.width), -1, kernel);
}

// Smooths into the destination. In place, OpenCV first makes a copy.
void Smooth(const Workspace& s, const cv::Mat& map) {
  cv::GaussianBlur(map, Result(s, s.height, s.width), {3, 3}, 0);
}

std::vector<Contender> ContendersFor(const Workspace& space, const Task& task) {
  cv::setNumThreads(1);
  const int parameter = task.parameter;
  switch (task.work) {
    case Work::kCopy:
      if (parameter == 0) return {};
      return {{kOpenCv, [&space, parameter] { RotateFrame(space, parameter); }}};
    case Work::kShrink:
      return {{kOpenCv, [&space, parameter] { Shrink(space, parameter); }}};
    case Work::kCrop:
    case Work::kCropMirrored:
      return {{kOpenCv, Cropper(space, parameter, task.work == Work::kCropMirrored)}};
    case Work::kSharpen:
      return {{kOpenCv, [&space] { Sharpen(space); }}};
    case Work::kSmooth:
      return {{kOpenCv, [&space] { Smooth(space, Result(space, space.height, space.width)); }},
              {"OpenCV, to a second plane", [&space] { Smooth(space, Luma(space)); }}};
    default:
      return {};
  }
}

[[maybe_unused]] const bool g_is_added =
    AddPeers({"OpenCV " CV_VERSION " with one thread", ContendersFor});

}  // namespace
}  // namespace bench
