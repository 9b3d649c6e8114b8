// SPDX-License-Identifier: Apache-2.0
// Writes a run as JSON. docs/camsim.md lists the keys.
#ifndef ZY_RECORD_JSON_LINES_H_
#define ZY_RECORD_JSON_LINES_H_

#include <cstdio>
#include <string>

#include "record/run_listener.h"

namespace record {

inline constexpr int kRecordingVersion = 1;

// Returns a line of a recording with its line break.
std::string LineOf(const RunHeader& header);
std::string LineOf(const Event& event);
// Adds times if `is_timed`, for a run in real time.
std::string LineOf(const RequestRecord& request, bool is_timed);
std::string LineOf(const PassRecord& pass);

// Returns a value as in a line.
std::string TextOf(const Value& value);

// Writes the run as a recording. Each line is flushed, so that readers are never behind and an
// interrupt loses nothing. The owner of the file checks for write errors.
class JsonLines : public RunListener {
 public:
  JsonLines(bool has_passes, std::FILE* to) : has_passes_(has_passes), to_(to) {}
  void Begin(const RunHeader& header) override;
  void OnEvent(const Event& event) override { Write(LineOf(event)); }
  common::Failure OnRequest(const RequestRecord& request, const media::Nv12Frame& picture) override;
  void OnPass(const PassRecord& pass) override {
    if (has_passes_) Write(LineOf(pass));
  }

 private:
  void Write(const std::string& line);

  const bool has_passes_;
  std::FILE* const to_;
  bool is_timed_ = false;
};

}  // namespace record

#endif  // ZY_RECORD_JSON_LINES_H_
