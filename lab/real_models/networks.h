// SPDX-License-Identifier: Apache-2.0
// Real networks for pictures of blue, green, red bytes. Any thread for the functions, one thread at
// a time for an object.
#ifndef ZY_REAL_MODELS_NETWORKS_H_
#define ZY_REAL_MODELS_NETWORKS_H_

#include <array>
#include <opencv2/dnn.hpp>
#include <string>
#include <vector>

namespace real_models {

// Sides of the square input pictures of the two networks.
inline constexpr int kFinderInput = 256;
inline constexpr int kAgeGenderInput = 112;

// A square that may extend beyond the picture.
struct Square {
  cv::Point2f centre;
  float side;
};

// Returns the square with a rectangle's middle and mean side.
Square SquareOf(const cv::Rect2f& box);

// Returns the square's content, scaled to `pixels` per side. A much larger square is averaged, so
// that the size of a picture hardly changes the network's input. Outside the picture is black
// (cv::BORDER_CONSTANT) or the nearest pixel (cv::BORDER_REPLICATE).
cv::Mat CropSquare(const cv::Mat& bgr, const Square& square, int pixels, int border);

struct FoundFace {
  cv::Rect2f box;   // a square from the brows to the chin
  float score = 0;  // 0 to 1; 0 where no face was found
  // Right eye, left eye, nose, mouth, right ear, left ear.
  std::array<cv::Point2f, 6> points = {};
};

// Decodes the detector's outputs: for each of its 896 anchors a score and, relative to the anchor,
// a box and six points. Returns the faces that reach `threshold`, in pixels of the input, the best
// first, without those that overlap a better one by more than 0.4 of the smaller. Empty when the
// outputs are not of this detector.
std::vector<FoundFace> DecodeFaces(const std::vector<cv::Mat>& answers, float threshold);

// A detector of faces.
class FaceFinder {
 public:
  // Loads the content of an ONNX file, once, before any other call. Returns the error or "";
  // exceptions of the inference library pass through.
  std::string Load(const std::string& onnx);

  // Returns the faces in a square of the picture, the best first.
  std::vector<FoundFace> Find(const cv::Mat& bgr, const Square& square, float threshold);

  // Returns the face nearest to the rectangle's middle, within a square of twice its side, or the
  // rectangle's own square with a score of 0. So the figures depend little on how tightly a
  // rectangle encloses a face.
  FoundFace FindNear(const cv::Mat& bgr, const cv::Rect2f& rectangle);

 private:
  std::vector<cv::Mat> Run(const cv::Mat& bgr);

  cv::dnn::Net net_;
};

struct AgeAndGender {
  float age;   // years
  float male;  // probability
};

// A network that estimates age and gender.
class AgeGenderNet {
 public:
  // Loads the contents of the two files, like FaceFinder.
  std::string Load(const std::string& manifest, const std::string& weights);

  // Estimates one face; `face` is kAgeGenderInput pixels per side.
  AgeAndGender Run(const cv::Mat& face);

 private:
  cv::dnn::Net net_;
};

// Grades the quality of a face's picture, never the face: a grade from 0 to 100, then its parts,
// each from 0 to 1: sharpness (detail, whatever the face's size and contrast), exposure (neither
// dark nor bright nor flat), pose (looking ahead, upright; 0 where no face was found). Returns
// zeros for a face outside the picture.
std::array<float, 4> GradePicture(const cv::Mat& bgr, const FoundFace& face);

}  // namespace real_models

#endif  // ZY_REAL_MODELS_NETWORKS_H_
