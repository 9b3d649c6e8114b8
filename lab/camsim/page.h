// SPDX-License-Identifier: Apache-2.0
// A run, or two recordings, as one self-contained page of HTML: the files of report/ with the
// recordings' lines embedded. The page's script draws it.
#ifndef ZY_CAMSIM_PAGE_H_
#define ZY_CAMSIM_PAGE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>

#include "media/picture.h"
#include "record/json_lines.h"
#include "record/run_listener.h"

namespace camsim {

// Writes the page of two recordings to compare, each as text. Figures are equal up to `tolerance`.
// The owner of the file checks for write errors.
void WriteComparison(const std::string& first, const std::string& second, double tolerance,
                     std::FILE* to);

// Collects a run's lines and the pictures of its latest passes, and writes the page at the end. Of
// a run whose recording is longer than kMaxText it keeps the latest requests.
class Page : public record::RunListener {
 public:
  static constexpr std::size_t kPasses = 12;                     // with pictures
  static constexpr std::size_t kMaxText = std::size_t{1} << 28;  // bytes

  explicit Page(std::FILE* to) : to_(to) {}
  void Begin(const record::RunHeader& header) override;
  void OnEvent(const record::Event& event) override { Add(LineOf(event)); }
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;
  void OnPass(const record::PassRecord& pass) override;
  common::Failure Finish(const record::Summary& summary) override;

 private:
  // A shrunk picture, and the size of the part of the original that it covers.
  struct Shrunk {
    media::Picture picture;
    common::Size size;
  };
  struct Pictures {
    int64_t request;
    Shrunk frame, seen;
  };
  static Shrunk ShrinkPicture(const media::Picture& picture);
  static std::string Image(int64_t request, const Shrunk& shrunk, int scale, const char* name);
  void Add(const std::string& line);

  std::FILE* const to_;
  std::string lines_;
  std::size_t header_size_ = 0;
  bool is_timed_ = false;
  Shrunk handed_over_;  // the frame of the next pass
  std::deque<Pictures> pictures_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_PAGE_H_
