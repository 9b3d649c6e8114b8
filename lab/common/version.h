// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_VERSION_H_
#define ZY_COMMON_VERSION_H_

namespace common {

// The project's version number, from CMakeLists.txt.
inline constexpr char kVersion[] = ZY_VERSION;

}  // namespace common

#endif  // ZY_COMMON_VERSION_H_
