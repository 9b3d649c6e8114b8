// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_OUTPUTS_H_
#define ZY_APPS_CAMSIM_OUTPUTS_H_

#include <cstdio>
#include <memory>
#include <string>

#include "apps/camsim/options.h"
#include "apps/camsim/report.h"
#include "pictures/error.h"

namespace camsim {

// Where a run's results go: the table and the summary to standard output, or the summary alone to
// standard error when JSON lines take standard output; JSON lines; a picture. One thread.
class Outputs {
 public:
  explicit Outputs(const Options& options) : options_(options) {}
  // Takes away an empty picture file that Open() made and nobody filled.
  ~Outputs();
  Outputs(const Outputs&) = delete;
  Outputs& operator=(const Outputs&) = delete;

  // Tries every output before anything is run. One that cannot be written, that is another one as
  // well or that is the input is a failure, and nothing that was there is lost.
  pictures::Failure Open();

  std::FILE* Text() const { return json_.get() == stdout ? stderr : stdout; }
  bool WantsTable() const { return json_.get() != stdout; }
  // Each line leaves at once, so that a reader is never behind and an interrupt loses nothing.
  void WriteJson(const std::string& line);
  // Null where none is wanted.
  std::FILE* TraceFile() const { return trace_.get(); }
  void WriteReport(const std::string& html);
  bool WantsPicture() const;
  pictures::Failure WritePicture(const pictures::Nv12Frame& frame, const RequestReport& report);
  // Sends what still waits on its way; Check() then says whether it arrived.
  void Flush() const;
  // Whether everything written so far has arrived.
  pictures::Failure Check() const;

 private:
  pictures::Failure TryPicture();
  pictures::Failure CheckApart() const;

  struct Close {
    void operator()(std::FILE* file) const {
      if (file != stdout) std::fclose(file);
    }
  };

  using File = std::unique_ptr<std::FILE, Close>;

  pictures::Failure OpenFile(const std::string& path, File* file);

  const Options& options_;
  File json_, trace_, report_;
  bool made_picture_ = false;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_OUTPUTS_H_
