// SPDX-License-Identifier: Apache-2.0
#include "camsim/knobs.h"

#include <string>
#include <utility>

#include "device/control.h"

namespace camsim {
namespace {

constexpr char kProperties[] = "libcutils.so";
constexpr char kModel[] = "libQVFD_AgeGender.so";
constexpr char kGrader[] = "libFaceGrade.so";

template <typename Knob, typename... Values>
media::Failure Set(const framework::Device& device, const char* library, const char* name,
                      bool tries, Values... values) {
  Knob* knob = nullptr;
  media::Failure failure = device.FindKnob(library, name, &knob);
  if (!failure && !tries) knob(values...);
  return failure;
}

template <const char* model>
void Told(void* passes, const ZyModelCall* call) {
  static_cast<PassWatch*>(passes)->Told(model, *call);
}

constexpr char kAgeAndGender[] = "age and gender";
constexpr char kFaceGrade[] = "face grade";

}  // namespace

std::vector<framework::Json> DeviceEvents(const Options& options) {
  std::vector<framework::Json> events;
  const auto add = [&events](const char* event, const std::string& name, framework::Json value) {
    events.push_back({{event, {{name, std::move(value)}}}});
  };
  const std::string camera = "persist.vendor.camera.";
  if (!options.zynode_conf.empty()) add("property", camera + "zynode_conf", options.zynode_conf);
  if (!options.operation_mask.empty()) {
    add("property", camera + "operationMask", options.operation_mask);
  }
  if (options.model_delay_ms != 0) add("device", "model_delay_ms", options.model_delay_ms);
  if (options.failing_inits != 0) add("device", "failing_inits", options.failing_inits);
  return events;
}

media::Failure SetKnobs(const framework::Device& device, const framework::Json& event,
                           bool tries) {
  const std::string kind = event.begin().key();
  for (const auto& [name, value] : event.begin()->items()) {
    media::Failure failure;
    if (kind == "property") {
      const std::string text = value.is_null() ? "" : value.get<std::string>();
      failure =
          Set<decltype(zy_set_property)>(device, kProperties, "zy_set_property", tries,
                                         name.c_str(), value.is_null() ? nullptr : text.c_str());
    } else if (name == "model_delay_ms") {
      failure = Set<decltype(zy_set_age_gender_delay)>(device, kModel, "zy_set_age_gender_delay",
                                                       tries, value.get<int>());
    } else if (name == "failing_inits") {
      failure = Set<decltype(zy_fail_age_gender_inits)>(device, kModel, "zy_fail_age_gender_inits",
                                                        tries, value.get<int>());
    }
    if (failure) return media::FailAbout(kind + "." + name, failure);
  }
  return std::nullopt;
}

void TellCalls(const framework::Device& device, PassWatch* passes) {
  Set<decltype(zy_tell_age_gender_calls)>(device, kModel, "zy_tell_age_gender_calls", false,
                                          Told<kAgeAndGender>, passes);
  Set<decltype(zy_tell_face_grade_calls)>(device, kGrader, "zy_tell_face_grade_calls", false,
                                          Told<kFaceGrade>, passes);
}

}  // namespace camsim
