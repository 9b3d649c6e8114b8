// SPDX-License-Identifier: Apache-2.0
#include "camsim/device_controls.h"

#include <algorithm>
#include <optional>
#include <string>
#include <variant>

#include "device/control.h"
#include "framework/node_watch.h"

namespace camsim {
namespace {

constexpr char kProperties[] = "libcutils.so";
constexpr char kModel[] = "libQVFD_AgeGender.so";
constexpr char kGrader[] = "libFaceGrade.so";

template <typename Control, typename... Values>
common::Failure Set(const framework::Device& device, const char* library, const char* name,
                    bool tries, Values... values) {
  Control* control = nullptr;
  common::Failure failure = device.FindControl(library, name, &control);
  if (!failure && !tries) control(values...);
  return failure;
}

template <record::Model model>
void OnCall(void* passes, const ZyModelCall* call) {
  static_cast<PassWatch*>(passes)->OnCall(model, *call);
  framework::NodeWatch::NoteModelCall();
}

// Settings in a recording.
constexpr char kModelDelay[] = "model_delay_ms";
constexpr char kFailingInits[] = "failing_inits";

}  // namespace

std::vector<record::Event> DeviceEvents(const Options& options) {
  using record::Event;
  std::vector<Event> events;
  const auto set = [&events](Event::Kind kind, const std::string& name,
                             const record::Value& value) {
    events.push_back({kind, {{name, value}}});
  };
  const std::string camera = "persist.vendor.camera.";
  const std::string &conf = options.zynode_conf, &mask = options.operation_mask;
  if (!conf.empty()) set(Event::kProperty, camera + "zynode_conf", conf);
  if (!mask.empty()) set(Event::kProperty, camera + "operationMask", mask);
  const std::optional<int>&delay = options.model_delay_ms, &inits = options.failing_inits;
  if (delay) set(Event::kDevice, kModelDelay, int64_t{*delay});
  if (inits) set(Event::kDevice, kFailingInits, int64_t{*inits});
  return events;
}

void RemoveGiven(const Options& options, record::Event* event) {
  auto& settings = event->settings;
  for (const record::Event& given : DeviceEvents(options)) {
    const std::string& name = given.settings.front().first;
    const auto is_given = [&](const auto& setting) { return setting.first == name; };
    if (given.kind == event->kind) {
      settings.erase(std::remove_if(settings.begin(), settings.end(), is_given), settings.end());
    }
  }
}

common::Failure ApplyEvent(const framework::Device& device, const record::Event& event,
                           bool tries) {
  for (const auto& [name, value] : event.settings) {
    const auto* const text = std::get_if<std::string>(&value);
    const auto* const number = std::get_if<int64_t>(&value);
    common::Failure failure;
    if (event.kind == record::Event::kProperty) {
      failure =
          Set<decltype(zy_set_property)>(device, kProperties, "zy_set_property", tries,
                                         name.c_str(), text != nullptr ? text->c_str() : nullptr);
    } else if (name == kModelDelay) {
      failure = Set<decltype(zy_set_age_gender_delay)>(device, kModel, "zy_set_age_gender_delay",
                                                       tries, static_cast<int>(*number));
      if (!tries) framework::NodeWatch::SetModelDelay(std::chrono::milliseconds(*number));
    } else if (name == kFailingInits) {
      failure = Set<decltype(zy_fail_age_gender_inits)>(device, kModel, "zy_fail_age_gender_inits",
                                                        tries, static_cast<int>(*number));
    }
    const std::string kind = record::kEventNames[event.kind];
    if (failure) return common::FailAbout(kind + "." + name, failure);
  }
  return std::nullopt;
}

void ReportCalls(const framework::Device& device, PassWatch* passes) {
  Set<decltype(zy_report_age_gender_calls)>(device, kModel, "zy_report_age_gender_calls", false,
                                            OnCall<record::Model::kAgeAndGender>, passes);
  Set<decltype(zy_report_face_grade_calls)>(device, kGrader, "zy_report_face_grade_calls", false,
                                            OnCall<record::Model::kFaceGrade>, passes);
}

}  // namespace camsim
