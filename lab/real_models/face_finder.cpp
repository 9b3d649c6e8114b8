// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "real_models/networks.h"

namespace real_models {
namespace {

constexpr float kOverlap = 0.4f;
// For the surroundings of a given rectangle; in a whole picture it would find too much.
constexpr float kNearThreshold = 0.4f;
constexpr float kSurroundings = 2.0f;

// Two anchors in each of 16 x 16 cells, then six in each of 8 x 8; 16 values per anchor.
struct AnchorLayer {
  int cells, anchors;
};
constexpr AnchorLayer kLayers[] = {{16, 2}, {8, 6}};
constexpr int kValues = 16;

cv::Point2f Corner(const Square& square) {
  return square.centre - cv::Point2f(square.side, square.side) / 2;
}

void DecodeLayer(const AnchorLayer& layer, const float* scores, const float* values,
                 float threshold, std::vector<FoundFace>* faces) {
  const float pitch = static_cast<float>(kFinderInput) / static_cast<float>(layer.cells);
  for (int i = 0; i < layer.cells * layer.cells * layer.anchors; ++i, values += kValues) {
    FoundFace face;
    face.score = 1.0f / (1.0f + std::exp(-scores[i]));
    if (!(face.score >= threshold)) continue;
    const int cell = i / layer.anchors;
    const int row = cell / layer.cells;
    const cv::Point2f corner(static_cast<float>(cell % layer.cells), static_cast<float>(row));
    const cv::Point2f anchor = (corner + cv::Point2f(0.5f, 0.5f)) * pitch;
    const cv::Point2f half = cv::Point2f(values[2], values[3]) / 2;
    const cv::Point2f centre = anchor + cv::Point2f(values[0], values[1]);
    face.box = {centre - half, centre + half};
    for (size_t p = 0; p < face.points.size(); ++p) {
      face.points[p] = anchor + cv::Point2f(values[4 + 2 * p], values[5 + 2 * p]);
    }
    faces->push_back(face);
  }
}

// Drops overlapping boxes: several anchors find the same face, in boxes of several sizes.
std::vector<FoundFace> DropOverlaps(std::vector<FoundFace> faces) {
  std::stable_sort(faces.begin(), faces.end(),
                   [](const FoundFace& a, const FoundFace& b) { return a.score > b.score; });
  std::vector<FoundFace> kept;
  for (const FoundFace& face : faces) {
    const bool is_new = std::none_of(kept.begin(), kept.end(), [&](const FoundFace& other) {
      return (face.box & other.box).area() > kOverlap * std::min(face.box.area(), other.box.area());
    });
    if (is_new) kept.push_back(face);
  }
  return kept;
}

const float* AnswerOfSize(const std::vector<cv::Mat>& answers, int size) {
  for (const cv::Mat& answer : answers) {
    const bool is_float = answer.type() == CV_32F && answer.isContinuous();
    if (is_float && answer.total() == static_cast<size_t>(size)) return answer.ptr<float>();
  }
  return nullptr;
}

}  // namespace

Square SquareOf(const cv::Rect2f& box) {
  return {(box.tl() + box.br()) / 2, (box.width + box.height) / 2};
}

cv::Mat CropSquare(const cv::Mat& bgr, const Square& square, int pixels, int border) {
  const int samples = std::clamp(static_cast<int>(square.side / static_cast<float>(pixels)), 1, 4);
  const float step = square.side / static_cast<float>(pixels * samples);
  const cv::Point2f first = Corner(square) + cv::Point2f(step - 1, step - 1) / 2;
  const cv::Size size(pixels * samples, pixels * samples);
  cv::Mat crop;
  cv::warpAffine(bgr, crop, cv::Matx23f(step, 0, first.x, 0, step, first.y), size,
                 cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, border);
  if (samples > 1) cv::resize(crop, crop, {pixels, pixels}, 0, 0, cv::INTER_AREA);
  return crop;
}

std::vector<FoundFace> DecodeFaces(const std::vector<cv::Mat>& answers, float threshold) {
  std::vector<FoundFace> faces;
  for (const AnchorLayer& layer : kLayers) {
    const int count = layer.cells * layer.cells * layer.anchors;
    const float* const scores = AnswerOfSize(answers, count);
    const float* const values = AnswerOfSize(answers, count * kValues);
    if (scores == nullptr || values == nullptr) return {};
    DecodeLayer(layer, scores, values, threshold, &faces);
  }
  return DropOverlaps(std::move(faces));
}

std::string FaceFinder::Load(const std::string& onnx) {
  net_ = cv::dnn::readNetFromONNX(onnx.data(), onnx.size());
  const std::vector<cv::Mat> answers = Run(cv::Mat::zeros(kFinderInput, kFinderInput, CV_8UC3));
  // Every anchor reaches a threshold of 0.
  return DecodeFaces(answers, 0).empty() ? "the detector is another network" : "";
}

std::vector<FoundFace> FaceFinder::Find(const cv::Mat& bgr, const Square& square, float threshold) {
  const cv::Point2f corner = Corner(square);
  const float scale = square.side / kFinderInput;
  std::vector<FoundFace> faces =
      DecodeFaces(Run(CropSquare(bgr, square, kFinderInput, cv::BORDER_CONSTANT)), threshold);
  for (FoundFace& face : faces) {
    face.box = {face.box.tl() * scale + corner, face.box.br() * scale + corner};
    for (cv::Point2f& point : face.points) point = point * scale + corner;
  }
  return faces;
}

FoundFace FaceFinder::FindNear(const cv::Mat& bgr, const cv::Rect2f& rectangle) {
  const Square square = SquareOf(rectangle);
  FoundFace best;
  best.box = {Corner(square), cv::Size2f(square.side, square.side)};
  float nearest = square.side / 2;
  for (const FoundFace& face :
       Find(bgr, {square.centre, kSurroundings * square.side}, kNearThreshold)) {
    const cv::Point2f away = SquareOf(face.box).centre - square.centre;
    const float distance = std::hypot(away.x, away.y);
    if (distance >= nearest) continue;
    nearest = distance;
    best = face;
  }
  return best;
}

std::vector<cv::Mat> FaceFinder::Run(const cv::Mat& bgr) {
  cv::Mat rgb;
  cv::cvtColor(bgr, rgb, cv::COLOR_BGR2RGB);
  rgb.convertTo(rgb, CV_32F, 1 / 127.5, -1);
  net_.setInput(cv::Mat({1, kFinderInput, kFinderInput, 3}, CV_32F, rgb.data));
  std::vector<cv::Mat> answers;
  net_.forward(answers, net_.getUnconnectedOutLayersNames());
  return answers;
}

}  // namespace real_models
