// SPDX-License-Identifier: Apache-2.0
// Fake of libFaceGrade. Its figures are functions of the pixels, not judgements of a person.
#include "platform/face_grade.h"

#include "common/geometry.h"
#include "device/face_measure.h"
#include "device/model_fake.h"

namespace {

device::FaceGradeAnswer Measure(const uint8_t*, const uint8_t* rgb,
                                const device::FaceGradeCall& call) {
  const device::CellSums colour = device::SumCells(rgb, 3, call);
  const auto figure = [&](uint32_t pattern) {
    return device::Between(50.0f, 100.0f, device::WeightedMean(colour, pattern));
  };
  return {figure(6), {figure(7), figure(8), figure(9)}};
}

device::ModelFake<device::FaceGradeCall, device::FaceGradeAnswer> g_fake(Measure);

}  // namespace

device::ModelControl<device::FaceGradeCall, device::FaceGradeAnswer>& device::FaceGrade() {
  return g_fake;
}

extern "C" {

void zy_report_face_grade_calls(ZyModelListener listener, void* context) {
  g_fake.Set(&device::ModelSettings::listener, device::ModelListener{listener, context});
}

uint64_t zy_overlapping_face_grade_calls() { return g_fake.OverlappingCalls(); }

}  // extern "C"

FaceGradeResult::FaceGradeResult() : grade(0.0f), scores{}, reserved{} {}

FaceGradeInterface::FaceGradeInterface() : reserved_{} {
  if (!g_fake.Init()) throw std::runtime_error("no grader");
}

FaceGradeInterface::~FaceGradeInterface() { g_fake.Clear(); }

void FaceGradeInterface::setFaceRect(int x, int y, int width, int height) {
  const common::Rect rect = {x, y, width, height};
  static_assert(sizeof(rect) <= sizeof(reserved_));
  std::memcpy(reserved_, &rect, sizeof(rect));
}

int FaceGradeInterface::process(const uint8_t* rgb, int width, int height, FaceGradeResult& result,
                                bool flag) {
  common::Rect rect;
  std::memcpy(&rect, reserved_, sizeof(rect));
  const auto answer = g_fake.Analyse(
      nullptr, rgb,
      {{width, height, rect.x, rect.y, rect.x + rect.w, rect.y + rect.h, 0, 0}, flag});
  if (!answer) return 0;
  result.grade = answer->grade;
  std::memcpy(result.scores, answer->scores, sizeof(result.scores));
  return 0;
}
