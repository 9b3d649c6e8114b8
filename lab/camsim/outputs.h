// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_OUTPUTS_H_
#define ZY_CAMSIM_OUTPUTS_H_

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "camsim/options.h"
#include "common/failure.h"
#include "record/recording.h"
#include "record/run_listener.h"

namespace camsim {

// The files of a run and their writers. Text goes to standard output; with JSON lines or a clip on
// standard output, only the summary is printed, to standard error. One thread.
class Outputs {
 public:
  explicit Outputs(const Options& options);
  // Deletes an empty picture file that Open() created.
  ~Outputs();
  Outputs(const Outputs&) = delete;
  Outputs& operator=(const Outputs&) = delete;

  // Opens every output before the run. Fails on one that cannot be written or is also another
  // output or the input; no older file is lost.
  common::Failure Open();

  // Returns the stream for text; call after Open().
  std::FILE* Text() const {
    return FileOf(kJsonLines) != stdout && FileOf(kClip) != stdout ? stdout : stderr;
  }

  // Returns the listeners that show, store and compare the run; destroy them first. `rate` is that
  // of a clip. A replay is compared with `recorded`.
  std::vector<std::unique_ptr<record::RunListener>> Listeners(const std::string& rate,
                                                              const record::Recording& recorded,
                                                              record::Comparison* comparison);

  // Flushes all outputs; Check() then reports write errors.
  void Flush() const;
  // Returns the first write error so far.
  common::Failure Check() const;

 private:
  enum Role { kPicture, kJsonLines, kClip, kTrace, kReport, kRoles };
  enum class Opened { kToTry, kAsFile, kAsStream };  // a stream may be standard output
  struct Close {
    void operator()(std::FILE* file) const {
      if (file != stdout) std::fclose(file);
    }
  };
  struct Output {
    std::string path;  // empty: not wanted
    const char* what;
    Opened opened;
    std::unique_ptr<std::FILE, Close> file;  // null if it was only tried
    bool was_made = false;
  };
  static common::Failure Open(Output* output);
  common::Failure CheckApart() const;
  std::FILE* FileOf(Role role) const { return outputs_[role].file.get(); }

  const Options& options_;
  std::array<Output, kRoles> outputs_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_OUTPUTS_H_
