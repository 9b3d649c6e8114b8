// SPDX-License-Identifier: Apache-2.0
#include "camsim/outputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "camsim/annotated.h"
#include "camsim/page.h"
#include "camsim/table.h"
#include "common/same_file.h"
#include "record/json_lines.h"
#include "record/replay_check.h"
#include "record/trace.h"

namespace camsim {
namespace {

// Describes the figures of fakes and of real networks.
constexpr char kFakeCaption[] = "figures of fake models,\nno estimates of a person";
constexpr char kRealCaption[] = "estimates by a small network,\nno basis for decisions";

// Returns whether an open file is standard output, under any name: text must not share a file with
// other output. Devices that accept everything are allowed.
bool IsStandardOutput(int descriptor) {
  struct stat file = {}, out = {};
  if (fstat(descriptor, &file) != 0 || fstat(STDOUT_FILENO, &out) != 0) return false;
  const bool may_be = !S_ISCHR(out.st_mode) || isatty(STDOUT_FILENO) != 0;
  return may_be && file.st_dev == out.st_dev && file.st_ino == out.st_ino;
}

bool IsInput(const std::string& path, const std::string& input) {
  struct stat output = {}, in = {};
  if (stat(path.c_str(), &output) != 0) return false;
  const bool has_input =
      input == "-" ? fstat(STDIN_FILENO, &in) == 0 : stat(input.c_str(), &in) == 0;
  return has_input && common::IsSameFile(output, in);
}

// Empties a regular file, after all outputs are known to be different files.
common::Failure Empty(std::FILE* file, const std::string& path) {
  struct stat status = {};
  if (file == nullptr || file == stdout || fstat(fileno(file), &status) != 0 ||
      !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return ftruncate(fileno(file), 0) == 0 ? std::nullopt : common::SystemFailure(path);
}

}  // namespace

Outputs::Outputs(const Options& options)
    : options_(options),
      outputs_{{{options.annotated == kNoPicture ? "" : options.annotated, "the picture",
                 Opened::kToTry, nullptr},
                {options.jsonl, "the JSON lines", Opened::kAsStream, nullptr},
                {options.annotated_clip, "the clip", Opened::kAsStream, nullptr},
                {options.trace, "the trace", Opened::kAsFile, nullptr},
                {options.report, "the report", Opened::kAsFile, nullptr}}} {}

Outputs::~Outputs() {
  const Output& picture = outputs_[kPicture];
  struct stat status = {};
  if (picture.was_made && stat(picture.path.c_str(), &status) == 0 && status.st_size == 0) {
    unlink(picture.path.c_str());
  }
}

common::Failure Outputs::Open() {
  for (Output& output : outputs_) {
    if (common::Failure failure = Open(&output)) return failure;
  }
  if (common::Failure failure = CheckApart()) return failure;
  for (const Output& output : outputs_) {
    if (common::Failure failure = Empty(output.file.get(), output.path)) return failure;
  }
  return std::nullopt;
}

common::Failure Outputs::Open(Output* output) {
  if (output->path.empty()) return std::nullopt;
  const bool is_stream = output->opened == Opened::kAsStream;
  if (is_stream && output->path == "-") {
    output->file.reset(stdout);
    return std::nullopt;
  }
  const char* const path = output->path.c_str();
  output->was_made = access(path, F_OK) != 0;
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return common::SystemFailure(output->path);
  const bool is_standard_output = IsStandardOutput(descriptor);
  if (is_standard_output || output->opened == Opened::kToTry) close(descriptor);
  if (is_standard_output && !is_stream) {
    return common::Fail(output->path + ": is standard output");
  }
  if (output->opened == Opened::kToTry) return std::nullopt;
  output->file.reset(is_standard_output ? stdout : fdopen(descriptor, "w"));
  return output->file != nullptr ? std::nullopt : common::SystemFailure(output->path);
}

common::Failure Outputs::CheckApart() const {
  if (FileOf(kJsonLines) == stdout && FileOf(kClip) == stdout) {
    return common::Fail("standard output: cannot hold both the JSON lines and the clip");
  }
  for (const Output& output : outputs_) {
    for (const std::string& input : {options_.source.input, options_.script, options_.replay}) {
      if (IsInput(output.path, input)) {
        return common::Fail(output.path + ": is also the input");
      }
    }
    for (const Output& other : outputs_) {
      if (&other == &output) break;
      if (!common::IsSameFile(output.path, other.path)) continue;
      return common::Fail(other.path + ": cannot hold both " + other.what + " and " + output.what);
    }
  }
  return std::nullopt;
}

std::vector<std::unique_ptr<record::RunListener>> Outputs::Listeners(
    const std::string& rate, const record::Recording& recorded, record::Comparison* comparison) {
  std::FILE* const text = Text();
  const bool is_replay = !options_.replay.empty();
  const std::string caption = options_.real_models ? kRealCaption : kFakeCaption;
  std::vector<std::unique_ptr<record::RunListener>> listeners;
  const auto add = [&listeners](auto listener) { listeners.push_back(std::move(listener)); };
  if (std::FILE* const file = FileOf(kJsonLines))
    add(std::make_unique<record::JsonLines>(options_.passes, file));
  if (std::FILE* const file = FileOf(kTrace)) add(record::MakeTrace(file));
  if (std::FILE* const file = FileOf(kReport)) add(std::make_unique<Page>(file));
  if (is_replay) {
    const int64_t last = options_.requests != 0 ? options_.requests : INT64_MAX;
    add(std::make_unique<record::ReplayCheck>(recorded, last, comparison, text));
  }
  // A replay prints differences instead of rows.
  const TableOptions table = {text == stdout && !is_replay, options_.all, options_.real_models};
  add(std::make_unique<Table>(table, text));
  if (std::FILE* const file = FileOf(kClip)) {
    add(std::make_unique<AnnotatedClip>(outputs_[kClip].path, caption, rate, file));
  }
  if (const std::string& path = outputs_[kPicture].path; !path.empty()) {
    add(std::make_unique<AnnotatedPicture>(path, caption, text));
  }
  return listeners;
}

// Reports a stream that ever lost bytes, even if later writes succeed.
common::Failure Outputs::Check() const {
  if (std::ferror(stdout) != 0) return common::Fail("standard output: write failed");
  for (const Output& output : outputs_) {
    if (output.file != nullptr && std::ferror(output.file.get()) != 0) {
      return common::Fail(output.path + ": write failed");
    }
  }
  return std::nullopt;
}

void Outputs::Flush() const {
  std::fflush(stdout);
  for (const Output& output : outputs_) {
    if (output.file != nullptr) std::fflush(output.file.get());
  }
}

}  // namespace camsim
