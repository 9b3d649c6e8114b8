// SPDX-License-Identifier: Apache-2.0
// Stands in for libFaceGrade. Its figures follow from the pixels and are no judgement of a person.
#include "platform/face_grade.h"

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
  std::chrono::milliseconds delay{0};
  std::function<device::FaceGradeAnswer(const device::FaceGradeCall&)> script;
  bool throws = false;
  bool skip_result = false;
  bool record = false;
  ZyModelListener listener = nullptr;
  void* listener_context = nullptr;
  std::vector<device::FaceGradeCall> calls;
  device::FaceGradeCounts counts = {};
};

std::mutex g_mutex;
State g_state;

struct Rect {
  int x, y, width, height;
};

device::FaceGradeAnswer Measure(const uint8_t* rgb, const device::FaceGradeCall& call) {
  const device::ClippedRect rect(call.width, call.height, call.x, call.y, call.x + call.face_width,
                                 call.y + call.face_height);
  const device::CellSums colour = device::SumCells(rgb, 3, call.width, rect);
  const auto figure = [&](uint32_t pattern) {
    return device::Between(50.0f, 100.0f, device::WeightedMean(colour, pattern));
  };
  return {figure(6), {figure(7), figure(8), figure(9)}};
}

}  // namespace

namespace device {

void ResetFaceGrade() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state = State();
}

void SetFaceGradeDelay(std::chrono::milliseconds delay) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.delay = delay;
}

void ScriptFaceGrade(std::function<FaceGradeAnswer(const FaceGradeCall&)> script) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.script = std::move(script);
}

void ThrowFromFaceGrade(bool throws) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.throws = throws;
}

void SkipFaceGradeResult(bool skip) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.skip_result = skip;
}

void RecordFaceGrade(bool record) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.record = record;
}

std::vector<FaceGradeCall> FaceGradeCalls() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_state.calls;
}

FaceGradeCounts FaceGradeCounters() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_state.counts;
}

}  // namespace device

extern "C" {

uint64_t zy_overlapping_face_grade_calls() { return device::CallInLibrary::Overlaps(); }

void zy_tell_face_grade_calls(ZyModelListener listener, void* context) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_state.listener = listener;
  g_state.listener_context = context;
}

}  // extern "C"

FaceGradeResult::FaceGradeResult() : grade(0.0f), scores{}, reserved{} {}

FaceGradeInterface::FaceGradeInterface() : reserved_{} {
  const device::CallInLibrary call;
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_state.throws) throw std::runtime_error("no grader");
  ++g_state.counts.created;
}

FaceGradeInterface::~FaceGradeInterface() {
  const device::CallInLibrary call;
  std::lock_guard<std::mutex> lock(g_mutex);
  ++g_state.counts.destroyed;
}

void FaceGradeInterface::setFaceRect(int x, int y, int width, int height) {
  const Rect rect = {x, y, width, height};
  static_assert(sizeof(rect) <= sizeof(reserved_));
  std::memcpy(reserved_, &rect, sizeof(rect));
}

int FaceGradeInterface::process(const uint8_t* rgb, int width, int height, FaceGradeResult& result,
                                bool flag) {
  const device::CallInLibrary call_in_library;
  Rect rect;
  std::memcpy(&rect, reserved_, sizeof(rect));
  device::FaceGradeCall call = {rect.x, rect.y, rect.width, rect.height, width, height, flag, 0};
  std::unique_lock<std::mutex> lock(g_mutex);
  if (g_state.record || g_state.script) {
    call.rgb_digest =
        device::Digest(rgb, static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
  }
  if (g_state.record) g_state.calls.push_back(call);
  if (g_state.skip_result) return 0;
  const auto script = g_state.script;
  const auto delay = g_state.delay;
  const auto listener = g_state.listener;
  void* const context = g_state.listener_context;
  lock.unlock();
  if (delay.count() > 0) std::this_thread::sleep_for(delay);
  const device::FaceGradeAnswer answer = script ? script(call) : Measure(rgb, call);
  result.grade = answer.grade;
  std::memcpy(result.scores, answer.scores, sizeof(result.scores));
  if (listener != nullptr) {
    const ZyModelCall told = {nullptr,
                              rgb,
                              width,
                              height,
                              rect.x,
                              rect.y,
                              rect.x + rect.width,
                              rect.y + rect.height,
                              {answer.grade, answer.scores[0], answer.scores[1], answer.scores[2]}};
    listener(context, &told);
  }
  return 0;
}
