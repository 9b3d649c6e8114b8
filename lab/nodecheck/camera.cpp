// SPDX-License-Identifier: Apache-2.0
#include "framework/worker_watch.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {

Frame::Frame(uint32_t width, uint32_t height, uint32_t pitch)
    : luma(std::size_t{pitch} * height), chroma(std::size_t{pitch} * ((height + 1) / 2)) {
  for (framework::GuardedBytes* plane : {&luma, &chroma}) {
    for (std::size_t i = 0; i < plane->size(); ++i) {
      plane->data()[i] = static_cast<uint8_t>(i * 37 % 251);
    }
  }
  image = {sizeof(image), 0, {luma.data(), chroma.data()}};
  buffer = {sizeof(buffer), 1, {width, height, 0, 0}, 2, pitch, &image};
}

Camera::Camera(uint32_t width, uint32_t height, bool starts_worker)
    : frame_(width, height, width + width % 2) {
  session.GuardValues(true);
  SetFaces(1);
  Doing("create, or a buffer callback");
  Require(session.Create(0, width, height));
  Doing("post-pipeline-create");
  if (starts_worker) session.PostPipelineCreate();
  Doing("process-request");
}

void Camera::SetFaces(uint32_t faces) {
  const auto [width, height, format, reserved] = frame_.buffer.format;
  std::vector<uint32_t> edges;  // at twice the sensor's size, which is the frame's
  for (uint32_t i = 0; i < faces; ++i) {
    edges.insert(edges.end(), {width / 2, height / 2, width * 3 / 2, height * 3 / 2});
  }
  framework::SetUsualMetadata(width, height, {edges.begin(), edges.end()}, &session.Input());
}

void Camera::Send(uint64_t number, Frame* frame, bool is_valid) {
  Send(number, std::vector<ChiNodeBuffer*>{&frame->buffer}, is_valid);
}

void Camera::Send(uint64_t number, std::vector<ChiNodeBuffer*> buffers, bool is_valid) {
  ChiNodeProcessRequestInfo info = {};
  info.frameNum = number;
  info.inputNum = info.outputNum = static_cast<uint32_t>(buffers.size());
  info.phInputBuffer = info.phOutputBuffer = buffers.data();
  const ChiResult result = session.Process(&info);
  const std::string request = "request " + std::to_string(number);
  Require(!is_valid || result == kChiSuccess, request, "success", std::to_string(result));
  const int publications = session.Publications();
  Require(publications == 1 || (publications == 0 && result != kChiSuccess), request,
          "one publication", std::to_string(publications));
  if (!session.Complaint().empty()) Fail(request + ": published that " + session.Complaint());
  if (result != kChiSuccess || session.RefusesPublications()) return;
  const uint32_t tag = framework::Framework::Get().Tags().Id("brodax.faceAnalyzeResult", "result");
  Require(session.Output().Find(tag) != nullptr, request, "a record", "none");
  const int32_t faces = session.Result().face_count;
  Require(faces >= 0 && faces <= 3, request, "0 to 3 faces", std::to_string(faces));
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

void AwaitWorkers() {
  Require(framework::WaitForRestingWorkers(std::chrono::minutes(1)), "after the requests",
          "a worker at rest within a minute", "none");
}

}  // namespace nodecheck
