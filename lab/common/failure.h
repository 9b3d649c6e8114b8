// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_FAILURE_H_
#define ZY_COMMON_FAILURE_H_

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

namespace common {

// The result of every function of the lab that can fail. Empty means success; otherwise `message`
// is one line for the user, without a final period or line break. On failure the outputs are
// unspecified but may be assigned or destroyed.
struct Error {
  std::string message;
  bool is_usage = false;  // an error of the command line, not of the input
};
using Failure = std::optional<Error>;

inline Failure Fail(std::string message) { return Error{std::move(message), false}; }
inline Failure FailUsage(std::string message) { return Error{std::move(message), true}; }

// Prefixes a failure with its subject: "photo.png: the file is empty".
inline Failure FailAbout(const std::string& subject, const Failure& failure) {
  return Error{subject + ": " + failure->message, failure->is_usage};
}

// Formats the system's error: "cannot open: No such file or directory". Takes errno immediately,
// because the next call may change it.
inline Failure SystemFailure(const std::string& doing, int error_number = errno) {
  return Fail(doing + ": " + std::strerror(error_number));
}

}  // namespace common

#endif  // ZY_COMMON_FAILURE_H_
