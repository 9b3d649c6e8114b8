// SPDX-License-Identifier: Apache-2.0
// Stands in for libQVFD_AgeGender. Its figures follow from the pixels and are no estimates of a
// person.
#include "platform/age_gender_model.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "device/control.h"
#include "device/face_measure.h"
#include "device/overlap.h"

namespace {

struct State {
  int failing_inits = 0;
  bool throws = false;
  std::chrono::milliseconds delay{0};
  std::function<device::AgeGenderAnswer(const device::AgeGenderCall&)> script;
  std::string version = "host-1.0";
  bool record = false;
  ZyModelListener listener = nullptr;
  void* listener_context = nullptr;
  std::vector<device::AgeGenderCall> calls;
  device::AgeGenderCounts counts = {};
};

std::mutex g_mutex;
State g_state;

// Answers that stay inside what a model of faces would say. Both images take part in each.
device::AgeGenderAnswer Measure(const uint8_t* gray, const uint8_t* rgb,
                                const device::AgeGenderCall& call) {
  const device::ClippedRect rect(call.width, call.height, call.left, call.top, call.right,
                                 call.bottom);
  const device::CellSums luma = device::SumCells(gray, 1, call.width, rect);
  const device::CellSums colour = device::SumCells(rgb, 3, call.width, rect);
  const auto figure = [&](float low, float high, uint32_t pattern) {
    return device::Between(
        low, high, device::WeightedMean(luma, pattern) + device::WeightedMean(colour, pattern + 1));
  };
  return {figure(4.0f, 72.0f, 0), figure(0.0f, 1.0f, 2), figure(0.0f, 1.0f, 4)};
}

}  // namespace

namespace device {

void ResetAgeGender() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state = State();
}

void FailAgeGenderInit(int attempts) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.failing_inits = attempts;
}

void ThrowFromAgeGenderInit(bool throws) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.throws = throws;
}

void SetAgeGenderDelay(std::chrono::milliseconds delay) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.delay = delay;
}

void ScriptAgeGender(std::function<AgeGenderAnswer(const AgeGenderCall&)> script) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.script = std::move(script);
}

void SetAgeGenderVersion(const std::string& bytes) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.version = bytes;
}

void RecordAgeGender(bool record) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.record = record;
}

std::vector<AgeGenderCall> AgeGenderCalls() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_state.calls;
}

AgeGenderCounts AgeGenderCounters() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_state.counts;
}

}  // namespace device

extern "C" {

void zy_set_age_gender_delay(int milliseconds) {
  device::SetAgeGenderDelay(std::chrono::milliseconds(milliseconds));
}

uint64_t zy_overlapping_age_gender_calls() { return device::CallInLibrary::Overlaps(); }

void zy_tell_age_gender_calls(ZyModelListener listener, void* context) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.listener = listener;
  g_state.listener_context = context;
}

void zy_fail_age_gender_inits(int attempts) { device::FailAgeGenderInit(attempts); }

int QVAG_Model_Init() {
  const device::CallInLibrary call;
  std::lock_guard<std::mutex> lock(g_mutex);
  ++g_state.counts.inits;
  if (g_state.failing_inits == 0) return 1;
  if (g_state.failing_inits > 0) --g_state.failing_inits;
  if (g_state.throws) throw std::runtime_error("no model");
  return 0;
}

QVAG_Version QVAG_GetVersion() {
  const device::CallInLibrary call;
  std::lock_guard<std::mutex> lock(g_mutex);
  QVAG_Version version = {};
  std::memcpy(version.text, g_state.version.data(),
              std::min(g_state.version.size(), sizeof(version.text)));
  return version;
}

QVAG_FaceResult QVAG_OneFaceAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                    int left, int top, int right, int bottom, float factor) {
  const device::CallInLibrary call_in_library;
  device::AgeGenderCall call = {width, height, left, top, right, bottom, factor, 0, 0};
  std::unique_lock<std::mutex> lock(g_mutex);
  ++g_state.counts.analyses;
  if (g_state.record || g_state.script) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    call.gray_digest = device::Digest(gray, pixels);
    call.rgb_digest = device::Digest(rgb, 3 * pixels);
  }
  if (g_state.record) g_state.calls.push_back(call);
  const auto script = g_state.script;
  const auto delay = g_state.delay;
  const auto listener = g_state.listener;
  void* const context = g_state.listener_context;
  lock.unlock();
  if (delay.count() > 0) std::this_thread::sleep_for(delay);
  const device::AgeGenderAnswer answer = script ? script(call) : Measure(gray, rgb, call);
  if (listener != nullptr) {
    const ZyModelCall told = {gray,   rgb,    width,
                              height, left,   top,
                              right,  bottom, {answer.age, answer.prop, answer.gender, 0}};
    listener(context, &told);
  }
  return {answer.age, answer.prop, answer.gender, 0.0f};
}

void QVAG_Model_Clear() {
  const device::CallInLibrary call;
  std::lock_guard<std::mutex> lock(g_mutex);
  ++g_state.counts.clears;
}

}  // extern "C"
