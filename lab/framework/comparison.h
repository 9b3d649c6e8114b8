// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_FRAMEWORK_COMPARISON_H_
#define ZY_FRAMEWORK_COMPARISON_H_

#include <cstddef>
#include <string>
#include <utility>

#include "framework/recording.h"

namespace framework {

struct ComparisonOptions {
  double tolerance = 0;                 // the difference up to which two figures count as equal
  std::size_t limit = 20;               // differences that get a line
  std::string other_name = "recorded";  // what the lines call the other run
};

// The differences of two runs in what came back: tags, outcome and why.
class Comparison {
 public:
  explicit Comparison(ComparisonOptions options) : options_(std::move(options)) {}

  // Compares a request of this run with the same one of the other run; null where one lacks it.
  void Add(const Json* run, const Json* other);
  // How many differences there are.
  std::size_t Count() const { return count_; }
  // What was found, a line each: first whether other pixels were sent, then the differences, then
  // their number.
  std::string Text() const;

 private:
  void AddDifference(const Json& number, const std::string& name, const Json& run,
                     const Json& other);

  ComparisonOptions options_;
  std::string lines_;
  std::size_t count_ = 0;
  std::size_t other_pixels_ = 0;  // requests
  Json first_other_pixels_;       // the first one's number
};

// Adds all requests of two recordings.
void CompareRecordings(const Recording& run, const Recording& other, Comparison* comparison);

}  // namespace framework

#endif  // ZY_FRAMEWORK_COMPARISON_H_
