// SPDX-License-Identifier: Apache-2.0
#include "record/recording_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "common/interrupts.h"
#include "common/output_stream.h"

namespace record {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 16;
constexpr int64_t kMaxCopied = int64_t{1} << 30;

// Copies all input to a nameless temporary file.
common::Failure Copy(int from, int* to) {
  char name[] = "/tmp/camsim_XXXXXX";
  *to = mkostemp(name, O_CLOEXEC);
  if (*to < 0) return common::SystemFailure("cannot copy to /tmp");
  unlink(name);
  std::array<char, kChunk> bytes;
  for (int64_t copied = 0; copied <= kMaxCopied;) {
    const ssize_t got = read(from, bytes.data(), bytes.size());
    if (got == 0) return std::nullopt;
    if (got < 0) return common::SystemFailure("cannot read");
    if (common::Interrupted()) return common::Fail("interrupted");
    const int error = common::WriteAll(*to, bytes.data(), static_cast<std::size_t>(got));
    if (error != 0) return common::SystemFailure("cannot copy to /tmp", error);
    copied += got;
  }
  return common::Fail("larger than the limit of " + std::to_string(kMaxCopied >> 20) + " MiB");
}

}  // namespace

RecordingFile::~RecordingFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

common::Failure RecordingFile::Open(const std::string& path) {
  const bool is_input = path == "-";
  name_ = is_input ? "standard input" : path;
  descriptor_ = is_input ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) return common::FailAbout(name_, common::SystemFailure("cannot open"));
  struct stat status = {};
  fstat(descriptor_, &status);
  if (S_ISDIR(status.st_mode)) return common::Fail(name_ + ": this is a directory");
  if (is_input || !S_ISREG(status.st_mode)) {
    const int original = std::exchange(descriptor_, -1);
    const common::Failure failure = Copy(original, &descriptor_);
    close(original);
    if (failure) return common::FailAbout(name_, failure);
  }
  return Check();
}

common::Failure RecordingFile::Take(int descriptor, const std::string& name) {
  descriptor_ = descriptor;
  name_ = name;
  return Check();
}

common::Failure RecordingFile::Check() {
  LineReader lines(*this);
  for (std::optional<Line> line;;) {
    common::Failure failure = lines.Next(&line);
    if (failure || !line) return failure;
    if (common::Interrupted()) return common::Fail(name_ + ": interrupted");
    if (const auto* request = std::get_if<RequestStep>(&*line)) {
      if (request->number <= last_request_) {
        return FailAt(lines.Number(), common::Fail("request: must increase"));
      }
      last_request_ = request->number;
    }
    if (auto* header = std::get_if<RunHeader>(&*line)) header_ = std::move(*header);
  }
}

common::Failure RecordingFile::FailAt(int line, const common::Failure& failure) const {
  return common::Fail(name_ + ": line " + std::to_string(line) + ": " + failure->message);
}

common::Failure RecordingFile::ReadText(std::string* text) const {
  text->clear();
  std::array<char, kChunk> bytes;
  for (ssize_t got = 1; got > 0; text->append(bytes.data(), static_cast<std::size_t>(got))) {
    got = pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(text->size()));
    if (got < 0) return common::FailAbout(name_, common::SystemFailure("cannot read"));
  }
  return std::nullopt;
}

bool LineReader::ReadText(common::Failure* failure) {
  text_.clear();
  ++number_;
  while (file_->descriptor_ >= 0) {
    const std::size_t end = std::min(buffer_.find('\n', at_), buffer_.size());
    text_.append(buffer_, at_, end - at_);
    at_ = end + 1;
    if (text_.size() > kMaxLine) {
      *failure = common::Fail("is longer than " + std::to_string(kMaxLine) + " bytes");
      return false;
    }
    if (end < buffer_.size()) return true;
    at_ = 0;
    buffer_.resize(kChunk);
    const ssize_t got = pread(file_->descriptor_, buffer_.data(), kChunk, offset_);
    buffer_.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    offset_ += static_cast<int64_t>(buffer_.size());
    if (got < 0) *failure = common::SystemFailure("cannot read");
    if (got == 0 && !text_.empty()) *failure = common::Fail("is cut short");
    if (got <= 0) return false;
  }
  return false;
}

common::Failure LineReader::Next(std::optional<Line>* line) {
  line->reset();
  common::Failure failure;
  if (ReadText(&failure)) failure = ParseLine(text_, number_ == 1, &line->emplace());
  return failure ? file_->FailAt(number_, failure) : failure;
}

common::Failure StepReader::FindRequest(int64_t* number) const {
  LineReader ahead = lines_;
  *number = INT64_MAX;
  for (std::optional<Line> line;;) {
    common::Failure failure = ahead.Next(&line);
    if (failure || !line) return failure;
    if (common::Interrupted()) return common::Fail("interrupted");
    const auto* const request = std::get_if<RequestStep>(&*line);
    if (request == nullptr) continue;
    *number = request->number;
    return std::nullopt;
  }
}

common::Failure StepReader::ReadAhead() {
  std::optional<Line> line;
  do {
    common::Failure failure = lines_.Next(&line);
    at_end_ = !line;
    if (failure || at_end_) return failure;
  } while (!std::holds_alternative<RequestStep>(*line) && !std::holds_alternative<Event>(*line));
  Step& step = ahead_.emplace();
  step.line = lines_.Number();
  if (auto* request = std::get_if<RequestStep>(&*line)) {
    next_request_ = 0;
    step.request = request->number;
    step.what = std::move(*request);
    return std::nullopt;
  }
  step.what = std::move(std::get<Event>(*line));
  common::Failure failure;
  if (next_request_ == 0) failure = FindRequest(&next_request_);
  step.request = next_request_;
  return failure;
}

common::Failure StepReader::Next(std::optional<Step>* step, int64_t last) {
  step->reset();
  common::Failure failure;
  if (!ahead_ && !at_end_) failure = ReadAhead();
  if (!failure && ahead_ && ahead_->request <= last) step->swap(ahead_);
  return failure;
}

common::Failure RecordedRequests::CompareUpTo(int64_t number, const Returned* run) {
  bool is_missing = run != nullptr && !is_replay_;
  common::Failure failure;
  for (std::optional<Step> step; !common::Interrupted();) {
    failure = steps_.Next(&step, number);
    if (failure || !step) break;
    if (const auto* const event = std::get_if<Event>(&step->what)) {
      comparison_->AddEvent(true, step->request, *event);
      continue;
    }
    const auto& recorded = std::get<RequestStep>(step->what);
    if (is_replay_ && !recorded.is_recorded) continue;
    const bool is_it = run != nullptr && recorded.number == number;
    comparison_->Add(is_it ? run : nullptr, &recorded);
    is_missing &= !is_it;
  }
  if (!failure && is_missing) comparison_->Add(run, nullptr);
  return failure;
}

common::Failure CompareRecordings(const RecordingFile& run, const RecordingFile& other,
                                  Comparison* comparison) {
  if (run.Header() && other.Header()) comparison->AddHeaders(*run.Header(), *other.Header());
  StepReader steps(run);
  RecordedRequests others(other, false, comparison);
  for (std::optional<Step> step;;) {
    common::Failure failure = steps.Next(&step);
    if (failure) return failure;
    if (common::Interrupted()) return common::Fail("interrupted");
    if (!step) return others.CompareUpTo(INT64_MAX, nullptr);
    if (const auto* const event = std::get_if<Event>(&step->what)) {
      comparison->AddEvent(false, step->request, *event);
    } else {
      failure = others.CompareUpTo(step->request, &std::get<RequestStep>(step->what));
    }
    if (failure) return failure;
  }
}

}  // namespace record
