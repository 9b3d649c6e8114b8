// SPDX-License-Identifier: Apache-2.0
// A run, or two recordings, as one page of HTML that needs nothing else: the files of report/ with
// the lines of the recordings in them. The page draws; this only embeds.
#ifndef ZY_CAMSIM_PAGE_H_
#define ZY_CAMSIM_PAGE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "media/picture.h"
#include "record/json_lines.h"
#include "record/run_listener.h"

namespace camsim {

// Writes the page of a recording, or of two that it compares, each as its text. `pictures` is HTML.
// Whether the bytes arrived is for the owner of the file to ask.
void WritePage(const std::vector<std::string>& recordings, const std::string& pictures,
               std::FILE* to);

// Collects the lines of a run and the pictures of its newest passes, and writes the page at the
// end. Of a run that is longer than the longest recording it keeps the newest requests.
class Page : public record::RunListener {
 public:
  static constexpr std::size_t kPasses = 12;  // that keep their pictures

  explicit Page(std::FILE* to) : to_(to) {}
  void Begin(const record::RunHeader& header) override;
  void OnEvent(const record::Event& event) override { Add(LineOf(event)); }
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;
  void OnPass(const record::PassRecord& pass) override;
  common::Failure Finish(const record::Summary& summary) override;

 private:
  // A picture, shrunk, and the size of what is left of the whole one.
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
  Shrunk handed_over_;  // the frame of the pass that comes next
  std::deque<Pictures> pictures_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_PAGE_H_
