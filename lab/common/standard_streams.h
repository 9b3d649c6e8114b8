// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_STANDARD_STREAMS_H_
#define ZY_COMMON_STANDARD_STREAMS_H_

#include <fcntl.h>
#include <unistd.h>

namespace common {

// Gives a standard stream that the caller of the program has closed to /dev/null, in the wrong
// direction, so that no file opened later takes its place and its use still fails.
inline void KeepStandardStreamsApart() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    // The lowest free number, which is this one.
    if (open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY) != stream) return;
  }
}

}  // namespace common

#endif  // ZY_COMMON_STANDARD_STREAMS_H_
