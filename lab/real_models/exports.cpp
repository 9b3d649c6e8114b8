// SPDX-License-Identifier: Apache-2.0
// The exports of a device's model libraries with real networks: the functions of libQVFD_AgeGender
// and libFaceGrade, and a face detector.
#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>

#include "device/control.h"
#include "platform/age_gender_model.h"
#include "platform/face_grade.h"
#include "real_models/find_faces.h"
#include "real_models/model_files.h"
#include "real_models/networks.h"

namespace {

// Squares around a face, in sides of its box. Figures are the mean over each square and its mirror
// image: four views vary much less than one when the box moves.
constexpr float kCrops[] = {0.9f, 1.0f};
constexpr float kViews = 2 * std::size(kCrops);

device::ModelListener g_age_gender_listener, g_face_grade_listener;

// The networks of the process. The first caller loads them: a node's request thread or worker, or a
// thread of the simulator.
struct Networks {
  real_models::FaceFinder frame_finder;  // of zy_find_faces, whose caller may run beside a worker
  real_models::FaceFinder finder;
  real_models::AgeGenderNet age_gender;
  std::string error = Load();  // why they cannot be used, else empty

  std::string Load() {
    Dl_info library = {};
    dladdr(kCrops, &library);  // the files lie beside it
    const std::string path = library.dli_fname, folder = path.substr(0, path.rfind('/') + 1);
    real_models::ModelFiles files;
    std::string wrong = real_models::ReadModelFiles(folder, &files);
    if (!wrong.empty()) return wrong;
    // The inference library must add neither lines on standard error nor threads, which are
    // counted.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    cv::setNumThreads(1);
    try {
      wrong = age_gender.Load(files.manifest, files.weights);
      if (wrong.empty()) wrong = finder.Load(files.finder);
      if (wrong.empty()) wrong = frame_finder.Load(files.finder);
      return wrong.empty() ? "" : folder + ": " + wrong;
    } catch (const std::exception& thrown) {
      const std::string text = thrown.what();
      return folder + ": a file is damaged: " + text.substr(0, text.find('\n'));
    }
  }

  static Networks& Get() {
    static Networks networks;
    return networks;
  }
};

cv::Mat View(const uint8_t* bgr, int width, int height) {
  return {height, width, CV_8UC3, const_cast<uint8_t*>(bgr)};
}

}  // namespace

int QVAG_Model_Init() { return Networks::Get().error.empty() ? 1 : 0; }

QVAG_Version QVAG_GetVersion() { return {"networks-1.0"}; }

QVAG_FaceResult QVAG_OneFaceAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                    int left, int top, int right, int bottom, float) {
  Networks& networks = Networks::Get();
  QVAG_FaceResult result = {};
  if (networks.error.empty()) {
    const cv::Mat bgr = View(rgb, width, height);
    const cv::Rect rectangle(cv::Point(left, top), cv::Point(right, bottom));
    const real_models::Square square =
        real_models::SquareOf(networks.finder.FindNear(bgr, rectangle).box);
    for (const float side : kCrops) {
      cv::Mat crop = real_models::CropSquare(bgr, {square.centre, side * square.side},
                                             real_models::kAgeGenderInput, cv::BORDER_REPLICATE);
      for (int view = 0; view < 2; ++view, cv::flip(crop, crop, 1)) {
        const real_models::AgeAndGender seen = networks.age_gender.Run(crop);
        result.age += seen.age / kViews;
        result.gender += seen.male / kViews;
      }
    }
    result.prop = std::abs(2 * result.gender - 1);
  }
  const ZyModelCall call = {gray,   rgb,    width,
                            height, left,   top,
                            right,  bottom, {result.age, result.prop, result.gender, 0}};
  g_age_gender_listener.Show(call);
  return result;
}

// Keeps the networks for the next worker.
void QVAG_Model_Clear() {}

void zy_report_age_gender_calls(ZyModelListener listener, void* context) {
  g_age_gender_listener = {listener, context};
}

FaceGradeResult::FaceGradeResult() : grade(0.0f), scores{}, reserved{} {}

FaceGradeInterface::FaceGradeInterface() : reserved_{} {}

FaceGradeInterface::~FaceGradeInterface() = default;

void FaceGradeInterface::setFaceRect(int x, int y, int width, int height) {
  const cv::Vec4i rectangle(x, y, width, height);
  std::memcpy(reserved_, rectangle.val, sizeof(rectangle.val));
}

int FaceGradeInterface::process(const uint8_t* rgb, int width, int height, FaceGradeResult& result,
                                bool) {
  Networks& networks = Networks::Get();
  cv::Vec4i face;
  std::memcpy(face.val, reserved_, sizeof(face.val));
  std::array<float, 4> grade = {};
  if (networks.error.empty()) {
    const cv::Mat bgr = View(rgb, width, height);
    const cv::Rect rectangle(face[0], face[1], face[2], face[3]);
    grade = real_models::GradePicture(bgr, networks.finder.FindNear(bgr, rectangle));
  }
  result.grade = grade[0];
  std::copy_n(&grade[1], 3, result.scores);
  const int right = face[0] + face[2], bottom = face[1] + face[3];
  ZyModelCall call = {nullptr, rgb, width, height, face[0], face[1], right, bottom, {}};
  std::copy(grade.begin(), grade.end(), call.answer);
  g_face_grade_listener.Show(call);
  return networks.error.empty() ? 0 : -1;
}

void zy_report_face_grade_calls(ZyModelListener listener, void* context) {
  g_face_grade_listener = {listener, context};
}

const char* zy_open_face_finder() {
  const std::string& error = Networks::Get().error;
  return error.empty() ? nullptr : error.c_str();
}

int32_t zy_find_faces(const uint8_t* luma, const uint8_t* chroma, int32_t width, int32_t height,
                      int32_t stride, float threshold, ZyFoundRect* faces, int32_t capacity) {
  // Whole pairs only: an odd last row or column is dropped, and a frame without a pair is empty.
  const cv::Size pairs(width / 2, height / 2);
  if (pairs.empty()) return 0;
  const auto pitch = static_cast<size_t>(stride);
  cv::Mat bgr;
  cv::cvtColorTwoPlane(cv::Mat(pairs * 2, CV_8U, const_cast<uint8_t*>(luma), pitch),
                       cv::Mat(pairs, CV_8UC2, const_cast<uint8_t*>(chroma), pitch), bgr,
                       cv::COLOR_YUV2BGR_NV12);
  const cv::Rect2f whole({0, 0}, cv::Size2f(bgr.size()));
  std::vector<real_models::FoundFace> found = Networks::Get().frame_finder.Find(
      bgr, {whole.br() / 2, std::max(whole.width, whole.height)}, threshold);
  std::stable_sort(found.begin(), found.end(),
                   [](const real_models::FoundFace& a, const real_models::FoundFace& b) {
                     return a.box.area() > b.box.area();
                   });
  int32_t count = 0;
  for (const real_models::FoundFace& face : found) {
    const cv::Rect box = face.box & whole;
    if (box.empty() || count >= capacity) continue;
    faces[count++] = {box.x, box.y, box.width, box.height};
  }
  return count;
}
