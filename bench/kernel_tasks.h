// SPDX-License-Identifier: Apache-2.0
// The pieces of work that the benches measure: every kernel with its variants, and other libraries'
// functions that do the same work. One thread.
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
  struct Release {
    void operator()(uint8_t* bytes) const { std::free(bytes); }
  };
  std::size_t size_;
  std::unique_ptr<uint8_t, Release> bytes_;
};

// The memory that the tasks of one frame size share. Frames are dense NV12 unless they are padded.
struct Workspace {
  Workspace(int frame_width, int frame_height);

  std::size_t pixels() const { return PlaneSize(width); }
  std::size_t PlaneSize(int pitch) const {
    return static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height);
  }

  int width;
  int height;
  int padded_pitch;
  Block source;
  Block destination;
  Block padded_source;
  Block padded_destination;
  Block scratch;  // what peers put between their steps
  Block mask;
};

// What a task does, for the libraries that know the same.
enum class Work { kCopy, kCopyPadded, kShrink, kCrop, kSharpen, kCorrelate, kMasked, kSmooth };

// One way to do a task.
struct Contender {
  std::string name;
  std::function<void()> run;
};

// Pixels that a task writes. A peer treats a frame of `margin` pixels at its edge in its own way.
struct Output {
  const uint8_t* data;
  int row_bytes;
  int rows;
  int pitch;
  int margin;  // in bytes and rows
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
  Work work;
  int parameter;                    // of the work: degrees, a factor
  bool mirrored;                    // a crop
  double instruction_target;        // of the best variant, per luma pixel; 0 for none
  HostTarget host_target;           // of the best variant; no peer for none
  std::size_t source_bytes;         // what a memcpy of the same bytes moves
  std::vector<Contender> variants;  // the best first
  std::vector<Contender> peers;
  std::vector<Output> outputs;
};

// Every task on frames of the workspace, which must outlive them. `with_peers` false leaves the
// other libraries out.
std::vector<Task> MakeTasks(const Workspace& space, bool with_peers);

// How far a contender's pixels are from those of the task's first variant: the largest difference
// of two bytes, 0 to 255.
int LargestDifference(const Workspace& space, const Task& task, const Contender& contender);

// Which other libraries are there, in one line.
std::string DescribePeers();

}  // namespace bench

#endif  // ZY_BENCH_KERNEL_TASKS_H_
