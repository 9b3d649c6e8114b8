// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstring>
#include <iterator>

#include "framework/worker_watch.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

std::vector<uint8_t> Noise(std::size_t size) {
  std::vector<uint8_t> noise(size);
  for (std::size_t i = 0; i < size; ++i) noise[i] = static_cast<uint8_t>(i * 37 % 251);
  return noise;
}

void RequireInputKept(const std::string& request, Frame* frame) {
  const int64_t pitch = frame->records.buffers[0].planeStride;
  for (auto plane = frame->planes.begin(); plane != std::next(frame->planes.begin(), 2); ++plane) {
    const auto change = plane->FirstChange();
    if (!change) continue;
    const bool is_padding =
        *change < 0 || *change % pitch >= frame->records.buffers[0].format.width;
    Fail(request + ": the node changed " + (is_padding ? "the padding of " : "") + plane->name() +
         " at row " + std::to_string(*change / pitch) + ", byte " +
         std::to_string(*change % pitch));
  }
}

}  // namespace

Frame::Frame(uint32_t width, uint32_t height, uint32_t pitch, framework::Margin margin) {
  for (const std::size_t i : {0, 1}) {
    const std::string name = i == 0 ? "the input's plane " : "the output's plane ";
    const std::size_t size = std::size_t{pitch} * height;
    uint8_t* const luma = planes.emplace_back(name + "0", Noise(size), margin).data();
    const std::size_t half = std::size_t{pitch} * ((height + 1) / 2);
    uint8_t* const chroma = planes.emplace_back(name + "1", Noise(half), margin).data();
    records.images[i] = {sizeof(ChiImage), 0, {luma, chroma}};
    records.buffers[i] = {sizeof(ChiNodeBuffer), 1, {width, height, 0, 0}, 2, pitch,
                          &records.images[i]};
  }
}

Camera::Camera(Subject* subject, uint32_t width, uint32_t height, bool starts_worker)
    : subject_(subject), frame_(width, height, width + width % 2) {
  subject->Node();
  session.LendValues(framework::Margin::kFiller);
  SetFaces(1);
  Doing("create, or a buffer callback");
  Require(session.Create(0, width, height));
  Doing("post-pipeline-create");
  if (starts_worker) session.PostPipelineCreate();
}

void Camera::SetFaces(uint32_t faces) {
  const auto [width, height, format, reserved] = frame_.records.buffers[0].format;
  std::vector<uint32_t> edges;  // at twice the sensor's size, which is the frame's
  for (uint32_t i = 0; i < faces; ++i) {
    edges.insert(edges.end(), {width / 2, height / 2, width * 3 / 2, height * 3 / 2});
  }
  framework::SetUsualMetadata(width, height, {edges.begin(), edges.end()}, &session.Input());
}

void Camera::Send(uint64_t number, Frame* frame, uint32_t buffers, End end) {
  const std::vector<ChiNodeBuffer*> inputs(buffers, &frame->records.buffers[0]);
  const std::vector<ChiNodeBuffer*> outputs(buffers, &frame->records.buffers[1]);
  auto given_inputs = inputs, given_outputs = outputs;
  ChiNodeProcessRequestInfo info = {};
  info.size = sizeof(info);
  info.hNodeSession = session.node();
  info.frameNum = number;
  info.inputNum = info.outputNum = buffers;
  info.phInputBuffer = given_inputs.data();
  info.phOutputBuffer = given_outputs.data();
  const auto given = info;
  const auto records = frame->records;
  const std::string request = "request " + std::to_string(number);
  char shape[64];
  std::snprintf(shape, sizeof(shape), " (%ux%u, pitch %u)", records.buffers[0].format.width,
                records.buffers[0].format.height, records.buffers[0].planeStride);
  Doing("process-request of " + request + shape);
  const ChiResult result = session.Process(&info);
  if (compares) {
    Require(std::memcmp(&info, &given, sizeof(info)) == 0 && given_inputs == inputs &&
                std::memcmp(&frame->records, &records, sizeof(records)) == 0 &&
                given_outputs == outputs,
            request, "its record as it was", "it changed");
    RequireInputKept(request, frame);
  }
  Judge(request, result, end);
}

void Camera::Judge(const std::string& request, ChiResult result, End end) {
  Require(result == kChiSuccess || end != End::kAnswer, request, "success", std::to_string(result));
  Require(session.Publications() <= 1, request, "at most one publication",
          std::to_string(session.Publications()));
  if (!session.Complaint().empty()) Fail(request + ": published that " + session.Complaint());
  if (result != kChiSuccess || session.RefusesPublications()) return;
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  const Expectations& expected = Expected();
  for (uint32_t i = 0; i < expected.tag_count && end != End::kAny; ++i) {
    if (session.Output().Find(expected.tags[i]) != nullptr) continue;
    const std::string tag = tags.NameOf(expected.tags[i]);
    Require(false, request, tag + " as with plain requests",
            session.Publications() == 0 ? "no publication" : "a publication without it");
  }
  const int32_t faces = session.Result().face_count;
  Require(faces >= 0 && faces <= 3, request, "0 to 3 faces", std::to_string(faces));
}

void Camera::SendSeries(Frame* frame, uint32_t buffers, End end) {
  for (uint64_t number = 1; number <= 24; ++number) Send(number, frame, buffers, end);
  subject_->AwaitWorkers();
}

bool Camera::SendUntilWoken(uint64_t most) {
  const uint64_t signals = framework::CountWorkers().signals;
  for (uint64_t number = 1; number <= most; ++number) {
    Send(number);
    if (framework::CountWorkers().signals != signals) return true;
  }
  return false;
}

void Camera::Destroy() {
  if (session.node() == nullptr) return;
  Doing("destroy");
  Require(session.Destroy());
}

}  // namespace nodecheck
