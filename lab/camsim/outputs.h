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

// The files of a run, and who writes them. Text goes to standard output, or what sums the run up to
// standard error where JSON lines or a clip take standard output. One thread.
class Outputs {
 public:
  explicit Outputs(const Options& options);
  // Takes away an empty picture file that Open() made and nobody filled.
  ~Outputs();
  Outputs(const Outputs&) = delete;
  Outputs& operator=(const Outputs&) = delete;

  // Tries every output before anything is run. One that cannot be written, that is another one as
  // well or that is the input is a failure, and nothing that was there is lost.
  common::Failure Open();

  // Where text goes; after Open().
  std::FILE* Text() const {
    return FileOf(kJsonLines) != stdout && FileOf(kClip) != stdout ? stdout : stderr;
  }

  // Who shows, stores and compares the run; to be destroyed first. `rate` is that of a clip. A
  // replay is compared with `recorded`.
  std::vector<std::unique_ptr<record::RunListener>> Listeners(const std::string& rate,
                                                              const record::Recording& recorded,
                                                              record::Comparison* comparison);

  // Sends what still waits on its way; Check() then says whether it arrived.
  void Flush() const;
  // Whether everything written so far has arrived.
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
    std::string path;  // empty for none
    const char* what;
    Opened opened;
    std::unique_ptr<std::FILE, Close> file;  // none of one that was only tried
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
