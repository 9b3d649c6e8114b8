// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_OUTPUTS_H_
#define ZY_CAMSIM_OUTPUTS_H_

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "camsim/options.h"
#include "common/failure.h"
#include "common/output_stream.h"
#include "common/replaced_file.h"
#include "framework/device.h"
#include "record/recording_file.h"
#include "record/run_listener.h"

namespace camsim {

// The files of a run and their writers. Text goes to standard output; with JSON lines or a clip on
// standard output, only the summary is printed, to standard error. One thread.
class Outputs {
 public:
  // Both must outlive the outputs.
  Outputs(const Options& options, const framework::Device& device);

  // Opens every output before the run. Fails on one that cannot be written, is also another output,
  // or is an input or a loaded library; no older file is lost. JSON lines and a clip grow in their
  // files; the other files are replaced in Complete().
  common::Failure Open();

  // Returns the stream for text; call after Open().
  std::FILE* Text() const {
    const bool has_stdout = outputs_[kJsonLines].to != &text_ && outputs_[kClip].to != &text_;
    return has_stdout ? text_.File() : stderr;
  }

  // Returns the listeners that show, store and compare the run; destroy them first. `rate` is that
  // of a clip. A replay is compared with `recorded`.
  std::vector<std::unique_ptr<record::RunListener>> Listeners(const std::string& rate,
                                                              const record::RecordingFile& recorded,
                                                              record::Comparison* comparison);

  // Flushes all streams. Fails if written bytes have not arrived.
  common::Failure Flush();
  // As Flush, gives complete files their names, and prints the picture's. Called once, at the end
  // of a run.
  common::Failure Complete();

 private:
  enum Role { kJsonLines, kClip, kPicture, kTrace, kReport, kOutputs };
  struct Output {
    std::string path;  // empty for none
    const char* what;
    bool grows;  // else it is replaced
    common::ReplacedFile replaced = {};
    std::unique_ptr<common::OutputStream> own = nullptr;
    common::OutputStream* to = nullptr;  // of a growing file: `own`, or that of standard output
    bool was_made = false;               // there was no file of this name

    // Returns null before Open.
    std::FILE* File() const { return to != nullptr ? to->File() : replaced.File(); }
  };
  common::Failure Open(Output* output);
  common::Failure CheckApart() const;
  static bool AreSame(const Output& a, const Output& b);

  const Options& options_;
  const framework::Device& device_;
  common::OutputStream text_;
  std::array<Output, kOutputs> outputs_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_OUTPUTS_H_
