// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_FRAMEWORK_LENT_FRAME_H_
#define ZY_FRAMEWORK_LENT_FRAME_H_

#include <cstdint>
#include <list>
#include <string>

#include "framework/lent_bytes.h"
#include "platform/chi_node.h"

namespace framework {

// An input and an output of one shape, each with two planes that share the pitch (bytes), and their
// records for a node. One thread at a time.
class LentFrame {
 public:
  struct Records {
    ChiImage images[2];  // input, output
    ChiNodeBuffer buffers[2];
  };

  LentFrame(uint32_t width, uint32_t height, uint32_t pitch, Margin margin = Margin::kFiller);
  LentFrame(const LentFrame&) = delete;
  LentFrame& operator=(const LentFrame&) = delete;

  // Returns the records, which may be broken on purpose.
  Records& records() { return records_; }
  // Formats size and pitch: "640x480, pitch 640".
  std::string Shape() const;
  // Names the first changed byte of the input; "" if none changed.
  std::string ChangedInput();
  // Makes all planes permanently inaccessible.
  void Close();

 private:
  std::list<LentBytes> planes_;
  Records records_ = {};
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_LENT_FRAME_H_
