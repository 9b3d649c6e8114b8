// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_ESCAPE_H_
#define ZY_COMMON_ESCAPE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace common {

// Returns the length of the UTF-8 character at the front of a text; 0 without one and for a control
// character.
inline std::size_t PrintableLength(std::string_view text) {
  const auto byte = [text](std::size_t at) {
    return at < text.size() ? static_cast<uint8_t>(text[at]) : uint8_t{0};
  };
  const uint8_t first = byte(0), second = byte(1);
  if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
  if (first < 0xc2 || first > 0xf4) return 0;
  // The second byte excludes controls (0x80 to 0x9f) and overlong forms.
  const uint8_t least = first == 0xc2 || first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
  const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  for (std::size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xc0) != 0x80) return 0;
  }
  return second >= least ? length : 0;
}

// Makes text from outside safe for a terminal: a byte of a control character, or of no character,
// becomes \xNN. Line breaks too, because a message is one line.
inline std::string Escaped(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const std::size_t length = PrintableLength(text);
    escaped += text.substr(0, length);
    text.remove_prefix(length);
    if (length != 0) continue;
    char code[5];
    std::snprintf(code, sizeof(code), "\\x%02x", static_cast<uint8_t>(text[0]));
    escaped += code;
    text.remove_prefix(1);
  }
  return escaped;
}

}  // namespace common

#endif  // ZY_COMMON_ESCAPE_H_
