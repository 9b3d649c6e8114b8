// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_SCRIPT_H_
#define ZY_APPS_CAMSIM_SCRIPT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "framework/recording.h"
#include "media/error.h"

namespace camsim {

// Plays a script or a recording: what each request carries, and what happens before it. Without a
// file it asks for nothing. One thread.
class Script {
 public:
  // Reads a file, for a replay one with a header.
  media::Failure Read(const std::string& path, bool is_replay);

  // Null without a file, or where the file has none.
  const framework::Json& Header() const { return recording_.header; }
  const std::vector<framework::Step>& Steps() const { return recording_.steps; }
  // The number of the last request, 0 without a file.
  int64_t LastRequest() const;
  // The next step that belongs to the request of this number or an earlier one; null when there is
  // none left. What a request changes holds from then on.
  const framework::Step* Next(int64_t number);
  const framework::HeldInput& Held() const { return held_; }
  // A failure of a step, with the file's name and the line in front.
  media::Failure FailAt(const framework::Step& step, const media::Failure& failure) const;

 private:
  std::string path_;
  framework::Recording recording_;
  std::size_t at_ = 0;
  framework::HeldInput held_;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_SCRIPT_H_
