// SPDX-License-Identifier: Apache-2.0
// The only list of kernels with their variants, to check, time and count them, and of the functions
// of other libraries that do the same work. One thread.
#ifndef ZY_BENCH_KERNEL_TASKS_H_
#define ZY_BENCH_KERNEL_TASKS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

// Bytes that begin a page, like camera buffers.
class Block {
 public:
  // All bytes are 0. The size is rounded up to whole pages.
  explicit Block(std::size_t size)
      : count_((size + sizeof(Page) - 1) / sizeof(Page)), pages_(new Page[count_]()) {}
  uint8_t* data() const { return pages_[0].bytes; }
  std::size_t size() const { return count_ * sizeof(Page); }

 private:
  struct alignas(4096) Page {
    uint8_t bytes[4096];
  };

  std::size_t count_;
  std::unique_ptr<Page[]> pages_;
};

// Fills the block with bytes that depend on the seed alone.
void FillWithNoise(const Block& block, unsigned seed);

// The memory that the tasks of one frame size share. The rows of a frame are `padding` bytes longer
// than its pixels; those of padded_source and padded_destination are always longer. Frames for
// upright pictures have no padding.
struct Workspace {
  Workspace(int frame_width, int frame_height, int padding = 0);

  // The planes of `source` and `destination` without padding.
  const uint8_t* luma() const { return source.data(); }
  const uint8_t* chroma() const { return source.data() + pixels(); }
  uint8_t* to() const { return destination.data(); }
  uint8_t* to_chroma() const { return destination.data() + pixels(); }

  std::size_t pixels() const { return PlaneSize(width); }
  std::size_t PlaneSize(int row_bytes) const {
    return static_cast<std::size_t>(row_bytes) * static_cast<std::size_t>(height);
  }

  int width;
  int height;
  int pitch;         // of a plane with `width` pixels per row
  int turned_pitch;  // of one with `height` pixels per row
  int padded_pitch;
  Block source;
  Block destination;
  Block padded_source;
  Block padded_destination;
  Block scratch;  // for intermediate results of peers
  Block mask;     // marks a quarter of the blocks, in regions
  Block no_marks;
  Block all_marks;
};

// The work of a task, so that peers can do the same. No peer does kOther.
enum class Work { kCopy, kCopyPadded, kShrink, kCrop, kCropMirrored, kSharpen, kSmooth, kOther };

// One implementation of a task.
struct Contender {
  std::string name;
  std::function<void()> run;
};

// Highest ratio of a variant's time to that of the contender named `peer`.
struct HostTarget {
  std::string peer;
  double ratio = 0;
};

inline constexpr char kMemcpy[] = "memcpy";
inline constexpr char kLibyuv[] = "libyuv";
inline constexpr char kOpenCv[] = "OpenCV";

struct Task {
  std::string name;
  double instruction_target;        // of the best variant, per luma pixel; 0 for none
  std::vector<Contender> variants;  // the best first
  HostTarget host_target = {};      // of the best variant; no peer for none
  Work work = Work::kOther;
  int parameter = 0;                  // of the work: degrees or a factor
  bool is_measured = true;            // false for a task that is only checked
  std::vector<Contender> peers = {};  // of the linked libraries; none if only checked
};

// Makes all tasks on frames of the workspace, which must outlive them.
std::vector<Task> MakeTasks(const Workspace& space);

// A library that does the same work.
struct PeerLibrary {
  std::string version;  // its name too
  // Returns the library's contenders for a task, if any.
  std::vector<Contender> (*contenders)(const Workspace& space, const Task& task);
};

// Adds a library to the linked ones and returns true. Each library's file calls it before main().
bool AddPeers(PeerLibrary library);

const std::vector<PeerLibrary>& PeerLibraries();

}  // namespace bench

#endif  // ZY_BENCH_KERNEL_TASKS_H_
