// SPDX-License-Identifier: Apache-2.0
#include "camsim/outputs.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "camsim/annotated.h"
#include "camsim/page.h"
#include "camsim/table.h"
#include "common/escape.h"
#include "record/json_lines.h"
#include "record/replay_check.h"
#include "record/trace.h"

namespace camsim {
namespace {

// Describes the figures of fakes and of real networks.
constexpr char kFakeCaption[] = "figures of fake models,\nno estimates of a person";
constexpr char kRealCaption[] = "estimates by a small network,\nno basis for decisions";

}  // namespace

Outputs::Outputs(const Options& options, const framework::Device& device)
    : options_(options),
      device_(device),
      text_("standard output", STDOUT_FILENO),
      outputs_{{{options.jsonl, "the JSON lines", true},
                {options.annotated_clip, "the clip", true},
                {options.annotated, "the picture", false},
                {options.trace, "the trace", false},
                {options.report, "the report", false}}} {}

common::Failure Outputs::Open() {
  common::Failure failure;
  for (Output& output : outputs_) {
    if (!failure && !output.path.empty()) failure = Open(&output);
  }
  if (!failure) failure = CheckApart();
  for (const Output& output : outputs_) {
    if (failure && output.was_made) unlink(output.path.c_str());
    if (failure || output.own == nullptr) continue;
    // Fails for a device or a pipe, which holds nothing.
    [[maybe_unused]] const int status = truncate(output.path.c_str(), 0);
  }
  return failure;
}

common::Failure Outputs::Open(Output* output) {
  const std::string& path = output->path;
  const bool is_text = path == "-" || common::IsStandardOutput(path);
  if (!output->grows) {
    return is_text ? common::Fail(path + ": is standard output") : output->replaced.Create(path);
  }
  if (is_text) {
    output->path = "standard output";
    output->to = &text_;
    return std::nullopt;
  }
  constexpr int kFlags = O_WRONLY | O_CREAT | O_CLOEXEC;
  int descriptor = open(path.c_str(), kFlags | O_EXCL, 0666);
  output->was_made = descriptor >= 0;
  if (!output->was_made) descriptor = open(path.c_str(), kFlags, 0666);
  if (descriptor < 0) return common::SystemFailure(path + ": cannot create");
  output->own = std::make_unique<common::OutputStream>(path, descriptor);
  output->to = output->own.get();
  return std::nullopt;
}

common::Failure Outputs::CheckApart() const {
  std::vector<std::string> inputs = {options_.source.input, options_.script, options_.replay,
                                     options_.node};
  for (const auto& library : device_.Libraries()) inputs.push_back(library.path);
  for (const Output& output : outputs_) {
    if (output.File() == nullptr) continue;
    for (const std::string& input : inputs) {
      if (output.to == &text_) continue;
      if (common::IsInput(output.path, input)) {
        return common::Fail(output.path + ": is also an input");
      }
    }
    for (const Output& other : outputs_) {
      if (&other == &output) break;
      if (!AreSame(output, other)) continue;
      return common::Fail(other.path + ": cannot hold both " + other.what + " and " + output.what);
    }
  }
  return std::nullopt;
}

bool Outputs::AreSame(const Output& a, const Output& b) {
  if (a.to != nullptr && a.to == b.to) return true;  // standard output
  const std::string& target = a.replaced.Target();
  return common::IsSameFile(a.path, b.path) || (!target.empty() && target == b.replaced.Target());
}

std::vector<std::unique_ptr<record::RunListener>> Outputs::Listeners(
    const std::string& rate, const record::RecordingFile& recorded,
    record::Comparison* comparison) {
  std::FILE* const text = Text();
  const bool is_replay = options_.IsReplay();
  const std::string caption = options_.real_models ? kRealCaption : kFakeCaption;
  std::vector<std::unique_ptr<record::RunListener>> listeners;
  const auto add = [&listeners](auto listener) { listeners.push_back(std::move(listener)); };
  if (std::FILE* const file = outputs_[kJsonLines].File()) {
    add(std::make_unique<record::JsonLines>(options_.passes, file));
  }
  if (std::FILE* const file = outputs_[kTrace].File()) add(record::MakeTrace(file));
  if (std::FILE* const file = outputs_[kReport].File()) add(std::make_unique<Page>(file));
  if (is_replay) {
    const int64_t last = options_.requests != 0 ? options_.requests : INT64_MAX;
    add(std::make_unique<record::ReplayCheck>(recorded, last, comparison, text));
  }
  // A replay prints differences instead of rows.
  add(std::make_unique<Table>(options_, text != stderr && !is_replay, text));
  if (std::FILE* const file = outputs_[kClip].File()) {
    add(std::make_unique<AnnotatedClip>(caption, rate, file));
  }
  if (Output& picture = outputs_[kPicture]; picture.File() != nullptr) {
    add(std::make_unique<AnnotatedPicture>(caption, &picture.replaced));
  }
  return listeners;
}

common::Failure Outputs::Flush() {
  common::Failure failure = text_.Flush();
  for (Output& output : outputs_) {
    if (failure || output.File() == nullptr) continue;
    failure = output.to != nullptr ? output.to->Flush() : output.replaced.Flush();
  }
  return failure;
}

common::Failure Outputs::Complete() {
  common::Failure failure = Flush();
  for (Output& output : outputs_) {
    if (output.replaced.File() == nullptr) continue;
    const common::Failure lost = output.replaced.Complete();
    if (!failure) failure = lost;
  }
  const Output& picture = outputs_[kPicture];
  if (failure || picture.File() == nullptr) return failure;
  std::fprintf(Text(), "annotated picture: %s\n", common::Escaped(picture.path).c_str());
  return text_.Flush();
}

}  // namespace camsim
