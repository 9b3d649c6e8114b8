// SPDX-License-Identifier: Apache-2.0
#include "camsim/outputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "camsim/annotated.h"
#include "camsim/page.h"
#include "camsim/table.h"
#include "record/json_lines.h"
#include "record/replay_check.h"
#include "record/trace.h"

namespace camsim {
namespace {

// Describes the figures of fakes and of real networks.
constexpr char kFakeCaption[] = "figures of fake models,\nno estimates of a person";
constexpr char kRealCaption[] = "estimates by a small network,\nno basis for decisions";

// Returns whether a file is standard output, under any name: text must not share a file with other
// output. Devices that accept everything are allowed.
bool IsStandardOutput(const std::string& path) {
  struct stat file = {}, out = {};
  if (stat(path.c_str(), &file) != 0 || fstat(STDOUT_FILENO, &out) != 0) return false;
  const bool may_be = !S_ISCHR(out.st_mode) || isatty(STDOUT_FILENO) != 0;
  return may_be && file.st_dev == out.st_dev && file.st_ino == out.st_ino;
}

}  // namespace

Outputs::Outputs(const Options& options)
    : options_(options),
      text_("standard output", STDOUT_FILENO),
      files_{{{options.annotated == kNoPicture ? "" : options.annotated, "the picture", {}},
              {options.trace, "the trace", {}},
              {options.report, "the report", {}}}},
      streams_{{{options.jsonl, "the JSON lines", nullptr, nullptr, false},
                {options.annotated_clip, "the clip", nullptr, nullptr, false}}} {}

common::Failure Outputs::Open() {
  common::Failure failure = OpenAll();
  for (const Stream& stream : streams_) {
    if (failure && stream.was_made) unlink(stream.path.c_str());
  }
  return failure;
}

common::Failure Outputs::OpenAll() {
  for (Stream& stream : streams_) {
    if (common::Failure failure = Open(&stream)) return failure;
  }
  for (File& file : files_) {
    if (file.path.empty()) continue;
    if (IsStandardOutput(file.path)) return common::Fail(file.path + ": is standard output");
    if (common::Failure failure = file.file.Create(file.path)) return failure;
  }
  if (common::Failure failure = CheckApart()) return failure;
  for (const Stream& stream : streams_) {
    if (stream.own == nullptr) continue;
    // Fails for what is no regular file, which holds nothing.
    [[maybe_unused]] const int status = truncate(stream.path.c_str(), 0);
  }
  return std::nullopt;
}

common::Failure Outputs::Open(Stream* stream) {
  const std::string& path = stream->path;
  if (path.empty()) return std::nullopt;
  stream->to = &text_;
  if (path == "-" || IsStandardOutput(path)) return std::nullopt;
  stream->was_made = access(path.c_str(), F_OK) != 0;
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return common::SystemFailure(path);
  stream->own = std::make_unique<common::OutputStream>(path, descriptor);
  stream->to = stream->own.get();
  return std::nullopt;
}

common::Failure Outputs::CheckApart() const {
  if (streams_[kJsonLines].to == &text_ && streams_[kClip].to == &text_) {
    return common::Fail("standard output: cannot hold both the JSON lines and the clip");
  }
  // A name, the file that it stands for, and the use of it.
  std::vector<std::array<std::string, 3>> outputs;
  for (const Stream& stream : streams_) {
    if (stream.own != nullptr) outputs.push_back({stream.path, stream.path, stream.what});
  }
  for (const File& file : files_) {
    if (!file.path.empty()) outputs.push_back({file.path, file.file.Target(), file.what});
  }
  for (const auto& [path, target, what] : outputs) {
    for (const std::string& input : {options_.source.input, options_.script, options_.replay}) {
      if (common::IsSameFile(path, input == "-" ? "/dev/stdin" : input)) {
        return common::Fail(path + ": is also the input");
      }
    }
    for (const auto& [other, other_target, other_what] : outputs) {
      if (other_what == what) break;
      if (!common::IsSameFile(path, other) && (target.empty() || target != other_target)) continue;
      return common::Fail(other + ": cannot hold both " + other_what + " and " + what);
    }
  }
  return std::nullopt;
}

std::vector<std::unique_ptr<record::RunListener>> Outputs::Listeners(
    const std::string& rate, const record::RecordingFile& recorded,
    record::Comparison* comparison) {
  common::OutputStream *const lines = streams_[kJsonLines].to, *const clip = streams_[kClip].to;
  std::FILE* const text = Text();
  const bool is_replay = !options_.replay.empty();
  const std::string caption = options_.real_models ? kRealCaption : kFakeCaption;
  std::vector<std::unique_ptr<record::RunListener>> listeners;
  const auto add = [&listeners](auto listener) { listeners.push_back(std::move(listener)); };
  if (lines != nullptr) add(std::make_unique<record::JsonLines>(options_.passes, lines->File()));
  if (std::FILE* const file = files_[kTrace].file.File()) add(record::MakeTrace(file));
  if (std::FILE* const file = files_[kReport].file.File()) add(std::make_unique<Page>(file));
  if (is_replay) {
    const int64_t last = options_.requests != 0 ? options_.requests : INT64_MAX;
    add(std::make_unique<record::ReplayCheck>(recorded, last, comparison, text));
  }
  // A replay prints differences instead of rows.
  const TableOptions table = {text != stderr && !is_replay, options_.all, options_.real_models};
  add(std::make_unique<Table>(table, text));
  if (clip != nullptr) {
    add(std::make_unique<AnnotatedClip>(streams_[kClip].path, caption, rate, clip->File()));
  }
  if (File& picture = files_[kPicture]; !picture.path.empty()) {
    add(std::make_unique<AnnotatedPicture>(picture.path, caption, &picture.file, text));
  }
  return listeners;
}

common::Failure Outputs::Flush() {
  common::Failure failure = text_.Flush();
  for (const Stream& stream : streams_) {
    if (!failure && stream.to != nullptr) failure = stream.to->Flush();
  }
  for (File& file : files_) {
    if (!failure && !file.path.empty()) failure = file.file.Flush();
  }
  return failure;
}

common::Failure Outputs::Complete() {
  common::Failure failure = Flush();
  for (File& file : files_) {
    if (!failure && !file.path.empty()) failure = file.file.Complete();
  }
  return failure;
}

}  // namespace camsim
