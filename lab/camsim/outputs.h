// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_OUTPUTS_H_
#define ZY_APPS_CAMSIM_OUTPUTS_H_

#include <cstdio>
#include <memory>
#include <string>

#include "camsim/options.h"
#include "camsim/report.h"
#include "media/error.h"

namespace camsim {

// Where a run's results go: the table and the summary to standard output, or the summary alone to
// standard error when JSON lines or a clip take standard output; JSON lines; a picture; a clip. One
// thread.
class Outputs {
 public:
  explicit Outputs(const Options& options) : options_(options) {}
  // Takes away an empty picture file that Open() made and nobody filled.
  ~Outputs();
  Outputs(const Outputs&) = delete;
  Outputs& operator=(const Outputs&) = delete;

  // Tries every output before anything is run. One that cannot be written, that is another one as
  // well or that is the input is a failure, and nothing that was there is lost.
  media::Failure Open();

  std::FILE* Text() const { return WantsTable() ? stdout : stderr; }
  bool WantsTable() const { return json_.get() != stdout && clip_.get() != stdout; }
  // Each line leaves at once, so that a reader is never behind and an interrupt loses nothing.
  void WriteJson(const std::string& line);
  // Null where none is wanted.
  std::FILE* TraceFile() const { return trace_.get(); }
  void WriteReport(const std::string& html);
  bool WantsPicture() const;
  media::Failure WritePicture(const media::Nv12Frame& frame, const RequestReport& report);
  bool WantsClip() const { return !options_.annotated_clip.empty(); }
  // Adds a frame to the clip: its faces, with the figures that the latest of the reports up to
  // `report` published, and how many frames ago that was. `rate` as for media::WriteY4mHeader.
  media::Failure WriteClipFrame(const media::Nv12Frame& frame, const RequestReport& report,
                                   const std::string& rate);
  // Sends what still waits on its way; Check() then says whether it arrived.
  void Flush() const;
  // Whether everything written so far has arrived.
  media::Failure Check() const;

 private:
  struct Close {
    void operator()(std::FILE* file) const {
      if (file != stdout) std::fclose(file);
    }
  };
  using File = std::unique_ptr<std::FILE, Close>;

  media::Failure TryPicture();
  static media::Failure OpenFile(const std::string& path, File* file);
  static media::Failure OpenStream(const std::string& path, File* file);
  media::Failure CheckApart() const;

  const Options& options_;
  File json_, trace_, report_, clip_;
  media::Nv12Frame clip_frame_;
  RequestReport published_;  // the latest report with figures
  bool made_picture_ = false;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_OUTPUTS_H_
