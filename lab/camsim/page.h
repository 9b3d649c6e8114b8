// SPDX-License-Identifier: Apache-2.0
// A run as one page of HTML that needs nothing else: to look at, print, or attach to a report.
#ifndef ZY_CAMSIM_PAGE_H_
#define ZY_CAMSIM_PAGE_H_

#include <array>
#include <cstddef>
#include <cstdio>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "media/picture.h"
#include "record/run_listener.h"

namespace camsim {

// Collects a run, and writes the page at its end; of a long run it shows the last kRequests
// requests and kPasses passes.
class Page : public record::RunListener {
 public:
  static constexpr std::size_t kRequests = 3000;
  static constexpr std::size_t kPasses = 12;

  explicit Page(std::FILE* to) : to_(to) {}
  void Begin(const record::RunHeader& header) override { header_ = header; }
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;
  void OnPass(const record::PassRecord& pass) override;
  common::Failure Finish(const record::Summary& summary) override;

 private:
  struct ShownPass {
    record::PassRecord pass;
    media::Picture frame;
    std::optional<record::RequestRecord> first;  // request that brought its figures
  };
  std::string Head(const record::Summary& summary) const;
  std::string Outcomes() const;
  std::string Plot(std::size_t slot, const record::Figure& figure) const;
  std::string Timeline() const;
  std::string Passes() const;
  std::string EmptySlots() const;

  std::FILE* const to_;
  record::RunHeader header_;
  std::deque<record::RequestRecord> requests_;
  std::deque<ShownPass> passes_;
  std::deque<record::PassRecord> pass_times_;  // without pictures
  media::Picture handed_over_;                 // the frame of the pass that comes next
  // How often each slot was empty, by reason.
  std::map<std::string, std::array<int, framework::kSlots>> empty_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_PAGE_H_
