// SPDX-License-Identifier: Apache-2.0
// Memory that a node may use during a call: a plane of a frame, the value of a tag. A comparison
// detects a changed byte, a crash detects an access beyond it.
#ifndef ZY_FRAMEWORK_LENT_BYTES_H_
#define ZY_FRAMEWORK_LENT_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "framework/guarded_bytes.h"

namespace framework {

// The neighbourhood of the bytes: a filler on both sides, or an inaccessible page on one.
enum class Margin { kFiller, kGuardBehind, kGuardBefore };

class LentBytes {
 public:
  // Takes the content; crash reports use `name`.
  LentBytes(std::string name, std::vector<uint8_t> content, Margin margin);
  ~LentBytes();
  LentBytes(const LentBytes&) = delete;
  LentBytes& operator=(const LentBytes&) = delete;

  const std::string& name() const { return name_; }
  uint8_t* data() { return data_; }
  // Returns the offset of the first changed byte, negative or from the size on for one of the
  // margin; nullopt if all are unchanged.
  std::optional<std::ptrdiff_t> FirstChange();
  // Makes the bytes permanently inaccessible.
  void Close();
  // Describes an address in or beside lent bytes of this process: "in the guard page 2 bytes behind
  // tag x". Writes nothing for another address. For a signal handler; any thread.
  static void Describe(const void* address, char* text, std::size_t size);

 private:
  bool DescribeHere(const uint8_t* address, char* text, std::size_t size) const;

  const std::string name_;
  const std::vector<uint8_t> content_;
  GuardedBytes memory_;
  uint8_t* const data_;
  bool is_closed_ = false;
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_LENT_BYTES_H_
