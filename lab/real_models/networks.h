// SPDX-License-Identifier: Apache-2.0
// What real networks say about pictures of blue, green, red bytes. Any thread for the functions,
// one thread at a time for an object.
#ifndef ZY_REAL_MODELS_NETWORKS_H_
#define ZY_REAL_MODELS_NETWORKS_H_

#include <array>
#include <opencv2/dnn.hpp>
#include <string>
#include <vector>

namespace real_models {

// The sides of the square pictures that the two networks take.
inline constexpr int kFinderInput = 256;
inline constexpr int kAgeGenderInput = 112;

// A square in a picture, which may reach out of it.
struct Square {
  cv::Point2f centre;
  float side;
};

// The middle and the mean side of a rectangle.
Square SquareOf(const cv::Rect2f& box);

// What lies in the square, scaled to `pixels` a side; means of pixels where it is much larger, so
// that the size of a picture hardly changes what a network sees. Outside the picture is black
// (cv::BORDER_CONSTANT) or the nearest pixel (cv::BORDER_REPLICATE).
cv::Mat CropSquare(const cv::Mat& bgr, const Square& square, int pixels, int border);

struct FoundFace {
  cv::Rect2f box;   // a square from the brows to the chin
  float score = 0;  // 0 to 1; 0 is a place where no face was found
  // Right eye, left eye, nose, mouth, right ear, left ear.
  std::array<cv::Point2f, 6> points = {};
};

// Reads the detector's answers: for each of its 896 anchors a score and, from the anchor's place, a
// box and six points. Gives the faces that reach `threshold`, in pixels of the input, the best
// first, without those that overlap a better one by more than 0.4 of the smaller. Empty when the
// answers are not of this detector.
std::vector<FoundFace> DecodeFaces(const std::vector<cv::Mat>& answers, float threshold);

// A detector of faces.
class FaceFinder {
 public:
  // Takes the content of an ONNX file, once, before all else. Returns what is wrong with it, or
  // nothing; the inference library throws what it finds.
  std::string Load(const std::string& onnx);

  // The faces in a square of the picture, the best first.
  std::vector<FoundFace> Find(const cv::Mat& bgr, const Square& square, float threshold);

  // The face nearest to the rectangle's middle, looked for in a square of twice its side; without
  // one, the rectangle's own square with a score of 0. So what is said of a face depends little on
  // how tight a rectangle somebody drew around it.
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
  // Takes the contents of the two files, as FaceFinder does.
  std::string Load(const std::string& manifest, const std::string& weights);

  // `face` is kAgeGenderInput pixels a side.
  AgeAndGender Run(const cv::Mat& face);

 private:
  cv::dnn::Net net_;
};

// How good a picture of a face it is, never how the face looks: a grade from 0 to 100, then what it
// is made of, each from 0 to 1: sharpness (detail, whatever the face's size and contrast), exposure
// (neither dark nor bright nor flat), pose (looking ahead, upright; 0 where no face was found).
// Zeros for a face beside the picture.
std::array<float, 4> GradePicture(const cv::Mat& bgr, const FoundFace& face);

}  // namespace real_models

#endif  // ZY_REAL_MODELS_NETWORKS_H_
