// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_COMPARISON_H_
#define ZY_RECORD_COMPARISON_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "record/request_record.h"

namespace record {

// The results of a request: the published tags, the outcome and the reasons, by their names in a
// recording, which may be from another version.
struct Returned {
  int64_t number = 0;
  std::string digest;  // of the pixels sent; empty if unknown
  std::vector<NamedValues> values;
};
Returned ReturnedWith(const RequestRecord& request);

struct ComparisonOptions {
  double tolerance = 0;                 // two figures are equal up to this difference
  std::size_t limit = 20;               // number of differences listed
  std::string other_name = "recorded";  // what the lines call the other run's values
  std::string run = "the run", other = "the recording";  // what they call both
};

// The differences of two runs in their results.
class Comparison {
 public:
  explicit Comparison(ComparisonOptions options) : options_(std::move(options)) {}

  // Compares a request of this run with the same one of the other run; null where one lacks it.
  void Add(const Returned* run, const Returned* other);
  // Returns the number of differences.
  std::size_t Count() const { return count_; }
  // Returns the report, one line each: differing input pixels first, then the differences, then
  // their number.
  std::string Text() const;

 private:
  void AddDifference(int64_t number, const std::string& text);

  ComparisonOptions options_;
  std::string lines_;
  std::size_t count_ = 0;
  std::size_t other_pixels_ = 0;    // number of requests
  int64_t first_other_pixels_ = 0;  // number of the first one
};

}  // namespace record

#endif  // ZY_RECORD_COMPARISON_H_
