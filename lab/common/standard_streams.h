// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_STANDARD_STREAMS_H_
#define ZY_COMMON_STANDARD_STREAMS_H_

#include <fcntl.h>
#include <unistd.h>

namespace common {

// Opens /dev/null in the wrong direction for standard streams that the caller closed. So no later
// file takes their number, and their use still fails.
inline void KeepStandardStreamsApart() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    // open() returns the lowest free number, which is this one.
    if (open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY) != stream) return;
  }
}

}  // namespace common

#endif  // ZY_COMMON_STANDARD_STREAMS_H_
