// SPDX-License-Identifier: Apache-2.0
// The one list of kernels, each with its variants: what is checked, timed and counted, beside other
// libraries' functions that do the same work. One thread.
#ifndef ZY_BENCH_KERNEL_TASKS_H_
#define ZY_BENCH_KERNEL_TASKS_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

// Bytes that begin a page, as camera buffers do.
class Block {
 public:
  explicit Block(std::size_t size);
  uint8_t* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  std::unique_ptr<uint8_t, void (*)(void*)> bytes_;
};

// Fills the block with bytes that follow from the seed, the same on every machine.
void FillWithNoise(const Block& block, unsigned seed);

// The memory that the tasks of one frame size share. The rows of a frame are `padding` bytes longer
// than its pixels; those of padded_source and padded_destination always have some more. Frames for
// upright pictures have no padding.
struct Workspace {
  Workspace(int frame_width, int frame_height, int padding = 0);

  std::size_t pixels() const { return PlaneSize(width); }
  std::size_t PlaneSize(int row_bytes) const {
    return static_cast<std::size_t>(row_bytes) * static_cast<std::size_t>(height);
  }

  int width;
  int height;
  int pitch;         // of a plane of `width` pixels a row
  int turned_pitch;  // of one of `height` pixels a row
  int padded_pitch;
  Block source;
  Block destination;
  Block padded_source;
  Block padded_destination;
  Block scratch;  // what peers put between their steps
  Block mask;     // marks a quarter of the blocks, in regions
  Block no_marks;
  Block all_marks;
};

// What a task does, for the libraries that know the same.
enum class Work { kCopy, kCopyPadded, kShrink, kCrop, kSharpen, kCorrelate, kMasked, kSmooth };

// One way to do a task.
struct Contender {
  std::string name;
  std::function<void()> run;
};

// How slow a variant may be next to the contender named `peer`, as a ratio of times.
struct HostTarget {
  std::string peer;
  double ratio = 0;
};

inline constexpr char kMemcpy[] = "memcpy";
inline constexpr char kLibyuv[] = "libyuv";
inline constexpr char kOpenCv[] = "OpenCV";

struct Task {
  std::string name;
  Work work = Work::kCopy;
  int parameter = 0;                // of the work: degrees, a factor
  bool mirrored = false;            // an upright picture
  double instruction_target = 0;    // of the best variant, per luma pixel; 0 for none
  HostTarget host_target;           // of the best variant; no peer for none
  std::size_t source_bytes = 0;     // how many a memcpy of the same bytes moves
  std::vector<Contender> variants;  // the best first
  std::vector<Contender> peers;     // those of the libraries that are linked
  bool is_measured = true;          // or is for the check alone
};

// Makes every task on frames of the workspace, which must outlive them.
std::vector<Task> MakeTasks(const Workspace& space);

// Returns the names and versions of the other libraries that are linked, each behind "; ".
std::string PeerVersions();

}  // namespace bench

#endif  // ZY_BENCH_KERNEL_TASKS_H_
