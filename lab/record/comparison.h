// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_COMPARISON_H_
#define ZY_RECORD_COMPARISON_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "record/request_record.h"

namespace record {

// The change of a tag in a line of a script: nothing if the tag is unchanged, an empty value if it
// is absent from here on.
template <typename T>
using Change = std::optional<std::optional<T>>;
using StateChange = framework::InputTags<Change>;

// The results of a request: the published tags, the outcome and the reasons, by their names in a
// recording, which may be from another version.
struct Returned {
  int64_t number = 0;
  std::string digest;  // of the pixels sent; empty if unknown
  std::vector<NamedValues> values;
  // The known parts of the input; faces in picture pixels.
  StateChange in;
  std::optional<std::vector<common::Rect>> faces;
};
Returned ReturnedWith(const RequestRecord& request);

struct ComparisonOptions {
  double tolerance = 0;                 // two figures are equal up to this difference
  std::size_t limit = 20;               // number of differences listed
  std::string other_name = "recorded";  // label of the other run's values
  std::string run = "the run", other = "the recording";  // labels of both
};

// The differences of two runs in their results.
class Comparison {
 public:
  explicit Comparison(ComparisonOptions options) : options_(std::move(options)) {}

  // Compares a request of this run with the same one of the other run; null where one lacks it.
  void Add(const Returned* run, const Returned* other);
  // Compares the headers of both: node and device.
  void AddHeaders(const RunHeader& run, const RunHeader& other);
  // Adds an event before a request of this run, or of the other one.
  void AddEvent(bool is_other, int64_t request, const Event& event);
  // Returns the number of differences.
  std::size_t Count() const { return count_; }
  // Returns the report, one line each: differing inputs first, then the differences, then their
  // number.
  std::string Text() const;

 private:
  void AddDifference(int64_t number, const std::string& text);
  void NoteInput(const std::string& name, int64_t number);
  std::vector<std::string> Inputs() const;

  struct OtherInput {
    std::string name;
    int64_t first;          // request
    std::size_t count = 0;  // requests
  };
  static constexpr std::size_t kEventKinds = std::size(kEventNames);

  ComparisonOptions options_;
  std::string lines_;
  std::size_t count_ = 0;
  std::vector<std::string> headers_;
  std::vector<OtherInput> other_inputs_;
  // Digests by kind, of this run and the other one.
  std::array<std::array<uint64_t, kEventKinds>, 2> events_ = {};
};

}  // namespace record

#endif  // ZY_RECORD_COMPARISON_H_
