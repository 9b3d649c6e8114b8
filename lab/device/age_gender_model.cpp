// SPDX-License-Identifier: Apache-2.0
// Fake of libQVFD_AgeGender. Its figures are functions of the pixels, not estimates of a person.
#include "platform/age_gender_model.h"

#include "device/face_measure.h"
#include "device/model_fake.h"

namespace {

// Returns figures in the ranges of a model of faces. Both images take part in each.
device::AgeGenderAnswer Measure(const uint8_t* gray, const uint8_t* rgb,
                                const device::AgeGenderCall& call) {
  const device::CellSums luma = device::SumCells(gray, 1, call);
  const device::CellSums colour = device::SumCells(rgb, 3, call);
  const auto figure = [&](float low, float high, uint32_t pattern) {
    return device::Between(
        low, high, device::WeightedMean(luma, pattern) + device::WeightedMean(colour, pattern + 1));
  };
  return {figure(4.0f, 72.0f, 0), figure(0.0f, 1.0f, 2), figure(0.0f, 1.0f, 4)};
}

device::ModelFake<device::AgeGenderCall, device::AgeGenderAnswer> g_fake(Measure);

}  // namespace

device::ModelControl<device::AgeGenderCall, device::AgeGenderAnswer>& device::AgeGender() {
  return g_fake;
}

extern "C" {

void zy_set_age_gender_delay(int milliseconds) {
  g_fake.Set(&device::ModelSettings::delay, std::chrono::milliseconds(milliseconds));
}

void zy_fail_age_gender_inits(int attempts) {
  g_fake.Set(&device::ModelSettings::failing_inits, attempts);
}

void zy_report_age_gender_calls(ZyModelListener listener, void* context) {
  g_fake.Set(&device::ModelSettings::listener, device::ModelListener{listener, context});
}

uint64_t zy_overlapping_age_gender_calls() { return g_fake.OverlappingCalls(); }

int QVAG_Model_Init() { return g_fake.Init() ? 1 : 0; }

QVAG_Version QVAG_GetVersion() {
  QVAG_Version version = {};
  g_fake.Version().copy(version.text, sizeof(version.text));
  return version;
}

QVAG_FaceResult QVAG_OneFaceAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                    int left, int top, int right, int bottom, float factor) {
  const auto answer =
      g_fake.Analyse(gray, rgb, {{width, height, left, top, right, bottom, 0, 0}, factor})
          .value_or(device::AgeGenderAnswer{});
  return {answer.age, answer.prop, answer.gender, 0.0f};
}

void QVAG_Model_Clear() { g_fake.Clear(); }

}  // extern "C"
