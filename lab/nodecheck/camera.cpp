// SPDX-License-Identifier: Apache-2.0
#include "framework/worker_watch.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
Camera::Camera(Subject* subject, uint32_t width, uint32_t height, bool starts_worker)
    : subject_(subject), frame_(width, height, width + width % 2) {
  subject->Node();
  session.Options().margin_of_tags = framework::Margin::kFiller;
  Set(Usual(1));
  Doing("create, or a buffer callback");
  Require(session.Create(0, width, height));
  Doing("post-pipeline-create");
  if (starts_worker) session.PostPipelineCreate();
}

Camera::~Camera() {
  Doing("destroy");
  Require(session.Destroy());
}

framework::DeviceState Camera::Usual(uint32_t faces) {
  const ChiImageFormat& size = frame_.records().buffers[0].format;
  const auto width = static_cast<int32_t>(size.width), height = static_cast<int32_t>(size.height);
  std::vector<int32_t> edges;  // at twice the sensor's size, which is the frame's
  for (uint32_t i = 0; i < faces; ++i) {
    edges.insert(edges.end(), {width / 2, height / 2, width * 3 / 2, height * 3 / 2});
  }
  return framework::UsualState(size.width, size.height, edges);
}

void Camera::Send(uint64_t number, LentFrame* frame, uint32_t buffers, End end) {
  const std::string request = "request " + std::to_string(number);
  Doing("process-request of " + request + " (" + frame->Shape() + ")");
  std::string changed;
  const ChiResult result = session.Process(number, frame, buffers, compares ? &changed : nullptr);
  if (!changed.empty()) Fail(request + ": the node changed " + changed);
  Judge(request, result, end);
}

void Camera::Judge(const std::string& request, ChiResult result, End end) {
  if (!session.Complaint().empty()) Fail(request + ": " + session.Complaint());
  Require(result == kChiSuccess || end != End::kAnswer, request, "success", std::to_string(result));
  Require(session.Publications() <= 1, request, "at most one publication",
          std::to_string(session.Publications()));
  if (result != kChiSuccess || session.Options().refuses_publications) return;
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  const char* const seen =
      session.Publications() == 0 ? "no publication" : "a publication without it";
  for (const uint32_t* tag = Expected().tags; *tag != 0 && end != End::kAny; ++tag) {
    Require(session.Output().Find(*tag) != nullptr, request,
            tags.NameOf(*tag) + " as with plain requests", seen);
  }
  const int32_t faces = session.Result().face_count;
  Require(faces >= 0 && faces <= 3, request, "0 to 3 faces", std::to_string(faces));
}

void Camera::SendSeries(LentFrame* frame, uint32_t buffers, End end) {
  for (uint64_t number = 1; number <= 24; ++number) Send(number, frame, buffers, end);
  subject_->AwaitWorkers();
}

bool Camera::SendUntilWoken() {
  const uint64_t signals = framework::CountWorkers().signals;
  for (uint64_t number = 1; number <= 60; ++number) {
    Send(number);
    if (framework::CountWorkers().signals != signals) return true;
  }
  return false;
}

}  // namespace nodecheck
