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
#include "record/recording_file.h"
#include "record/run_listener.h"

namespace camsim {

// The files of a run and their writers. Text goes to standard output; with JSON lines or a clip on
// standard output, only the summary is printed, to standard error. One thread.
class Outputs {
 public:
  explicit Outputs(const Options& options);

  // Opens every output before the run. Fails on one that cannot be written or is also another
  // output or the input; no older file is lost. JSON lines and a clip grow in their files; the
  // other files are replaced in Complete().
  common::Failure Open();

  // Returns the stream for text; call after Open().
  std::FILE* Text() const {
    const bool has_stdout = streams_[kJsonLines].to != &text_ && streams_[kClip].to != &text_;
    return has_stdout ? text_.File() : stderr;
  }

  // Returns the listeners that show, store and compare the run; destroy them first. `rate` is that
  // of a clip. A replay is compared with `recorded`.
  std::vector<std::unique_ptr<record::RunListener>> Listeners(const std::string& rate,
                                                              const record::RecordingFile& recorded,
                                                              record::Comparison* comparison);

  // Sends what waits. Fails if anything that was written has not arrived.
  common::Failure Flush();
  // As Flush, and gives complete files their names. Called once, at the end of a run.
  common::Failure Complete();

 private:
  enum FileRole { kPicture, kTrace, kReport, kFiles };
  enum StreamRole { kJsonLines, kClip, kStreams };
  // The path is empty for none.
  struct File {
    std::string path;
    const char* what;
    common::ReplacedFile file;
  };
  struct Stream {
    std::string path;
    const char* what;
    common::OutputStream* to;  // `own`, or that of standard output
    std::unique_ptr<common::OutputStream> own;
    bool was_made;  // there was no file of this name
  };
  common::Failure OpenAll();
  common::Failure Open(Stream* stream);
  common::Failure CheckApart() const;

  const Options& options_;
  common::OutputStream text_;
  std::array<File, kFiles> files_;
  std::array<Stream, kStreams> streams_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_OUTPUTS_H_
