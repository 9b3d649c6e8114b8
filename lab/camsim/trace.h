// SPDX-License-Identifier: Apache-2.0
// A run over time, as trace events that a trace viewer opens.
#ifndef ZY_APPS_CAMSIM_TRACE_H_
#define ZY_APPS_CAMSIM_TRACE_H_

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "framework/recording.h"
#include "media/geometry.h"
#include "media/picture.h"

namespace camsim {

// Microseconds since the run began.
struct Span {
  int64_t at = 0;
  int64_t took = 0;
};

// One call of a model library, as the library told it.
struct ModelCall {
  std::string model;
  Span time;
  media::Rect face;  // in the picture that it saw
};

// What a worker did with a frame that was handed over.
struct Pass {
  int64_t request = 0;
  Span handed_over;  // the request's own time
  int worker = 1;    // counts the pipelines of a run
  Span time;
  std::vector<ModelCall> calls;
  media::Picture seen;  // upright, as the models got it; empty where no library tells
};

// Writes events as they come. One thread at a time.
class Trace {
 public:
  // `to` stays the caller's, and open until Finish().
  explicit Trace(std::FILE* to);
  // A request as a recording has it. Comes before the pass over its frame.
  void AddRequest(const framework::Json& request, Span time);
  void AddPass(const Pass& pass);
  void Finish();

 private:
  using Json = framework::Json;
  void Event(const char* phase, int thread, int64_t at, const std::string& name, Json more);
  void Slice(int thread, Span time, const std::string& name, const Json& arguments);
  void Arrow(int from_thread, int64_t from, int to_thread, int64_t to, const std::string& name);
  void NameThread(int thread, const std::string& name);

  std::FILE* to_;
  bool is_first_ = true;
  int arrows_ = 0;
  int workers_ = 0;
  std::map<int64_t, Pass> unseen_;  // passes whose figures no record has had yet
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_TRACE_H_
