// SPDX-License-Identifier: Apache-2.0
// A run as one page of HTML that needs nothing else: to look at, print, or attach to a report.
#ifndef ZY_APPS_CAMSIM_PAGE_H_
#define ZY_APPS_CAMSIM_PAGE_H_

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "camsim/trace.h"
#include "framework/recording.h"
#include "media/picture.h"

namespace camsim {

// Collects a run; of a long one it shows the last kRequests requests and kPasses passes. One thread
// at a time.
class Page {
 public:
  static constexpr std::size_t kRequests = 3000;
  static constexpr std::size_t kPasses = 12;

  // A request as a recording has it. Comes before the pass over its frame.
  void AddRequest(const framework::Json& request, Span time);
  // `frame` is the picture that was handed over, with its faces outlined.
  void AddPass(Pass pass, const media::Picture& frame);
  // The page, with the recording's header and a line that sums the run up.
  std::string Html(const framework::Json& header, const std::string& summary) const;

 private:
  using Json = framework::Json;
  struct Request {
    Json json;
    Span time;
  };
  struct ShownPass {
    Pass pass;
    media::Picture frame;
    Json first;  // request that brought its figures; null while there is none
  };
  std::string Outcomes() const;
  std::string Plot(std::size_t slot, const char* figure) const;
  std::string Timeline() const;
  std::string Passes() const;
  std::string EmptySlots() const;

  std::deque<Request> requests_;
  std::deque<ShownPass> passes_;
  std::deque<Pass> pass_times_;                    // without pictures
  std::map<std::string, std::vector<int>> empty_;  // how often each slot was empty, by reason
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_PAGE_H_
