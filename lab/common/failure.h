// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_FAILURE_H_
#define ZY_COMMON_FAILURE_H_

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

namespace common {

// How the simulator's functions report trouble: everything that can fail returns a `Failure`. An
// empty one is success; otherwise `message` is one line for a person, without a closing period or
// line break. On failure the outputs hold nothing of use but may be assigned or destroyed.
struct Error {
  std::string message;
  bool is_usage = false;  // the command line is at fault, not the input
};
using Failure = std::optional<Error>;

inline Failure Fail(std::string message) { return Error{std::move(message), false}; }
inline Failure FailUsage(std::string message) { return Error{std::move(message), true}; }

// The same failure with what it is about in front: "photo.png: the file is empty".
inline Failure FailAbout(const std::string& subject, const Failure& failure) {
  return Error{subject + ": " + failure->message, failure->is_usage};
}

// What the system says: "cannot open: No such file or directory". Evaluated at once, because the
// next call may change errno.
inline Failure SystemFailure(const std::string& doing, int error_number = errno) {
  return Fail(doing + ": " + std::strerror(error_number));
}

}  // namespace common

#endif  // ZY_COMMON_FAILURE_H_
