// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_SAME_FILE_H_
#define ZY_COMMON_SAME_FILE_H_

#include <sys/stat.h>

#include <string>

namespace common {

// Returns whether both are the same regular file, whatever their names.
inline bool IsSameFile(const struct stat& a, const struct stat& b) {
  return S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}
inline bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat first = {}, second = {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && IsSameFile(first, second);
}

}  // namespace common

#endif  // ZY_COMMON_SAME_FILE_H_
