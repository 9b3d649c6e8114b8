// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "real_models/networks.h"

namespace real_models {
namespace {

// The side at which faces of all sizes are graded.
constexpr int kSide = 64;

// Returns 0 up to `low`, 1 from `high` on, and a linear ramp between.
float Ramp(float value, float low, float high) {
  return std::clamp((value - low) / (high - low), 0.0f, 1.0f);
}

// Grades the pose: the nose of a face that looks ahead lies between level eyes.
float Pose(const FoundFace& face) {
  if (face.score <= 0) return 0;
  const cv::Point2f eyes = face.points[1] - face.points[0];
  const cv::Point2f middle = (face.points[0] + face.points[1]) / 2;
  const float distance = std::max(std::hypot(eyes.x, eyes.y), 1.0f);
  const float turn = std::abs((face.points[2] - middle).dot(eyes)) / (distance * distance);
  const float tilt = std::abs(std::atan2(eyes.y, eyes.x));
  return (1 - Ramp(turn, 0.05f, 0.6f)) * (1 - Ramp(tilt, 0.1f, 0.8f));
}

}  // namespace

std::array<float, 4> GradePicture(const cv::Mat& bgr, const FoundFace& face) {
  const cv::Rect box = face.box & cv::Rect2f({0, 0}, cv::Size2f(bgr.size()));
  if (box.empty()) return {};
  cv::Mat gray, edges;
  cv::cvtColor(bgr(box), gray, cv::COLOR_BGR2GRAY);
  cv::resize(gray, gray, {kSide, kSide}, 0, 0,
             box.width > kSide ? cv::INTER_AREA : cv::INTER_LINEAR);
  cv::Laplacian(gray, edges, CV_32F);
  cv::Scalar mean, deviation;
  cv::meanStdDev(gray, mean, deviation);
  const auto light = static_cast<float>(mean[0]), contrast = static_cast<float>(deviation[0]);
  const auto step = static_cast<float>(cv::mean(cv::abs(edges))[0]);
  const float sharpness = Ramp(step / std::max(contrast, 4.0f), 0.08f, 0.35f);
  const float exposure =
      std::min(Ramp(light, 30, 90), Ramp(-light, -235, -190)) * Ramp(contrast, 8, 28);
  const float pose = Pose(face);
  return {100 * std::cbrt(sharpness * exposure * pose), sharpness, exposure, pose};
}

}  // namespace real_models
