// SPDX-License-Identifier: Apache-2.0
// Feeds camsim's readers (Y4M, NV12, PNG, JPEG, recordings); each returns a usable result or a
// message.
#include <sys/mman.h>
#include <unistd.h>

#include "media/frame_source.h"
#include "media/picture.h"
#include "record/recording_file.h"
#include "tests/fuzz/png_checksums.h"
#include "tests/fuzz/script.h"

using fuzz::Require;

static void ReadFrames(fuzz::Script& script) {
  media::FrameSourceOptions options;
  options.input = "input";
  if (script.OneIn(2)) {
    options.width = script.Between(-1, 70);
    options.height = script.Between(-1, 70);
  }
  options.stride = script.OneIn(4) ? script.Between(-1, 300) : 0;
  std::vector<uint8_t> bytes = script.Rest();
  if (media::DetectPictureFormat(bytes.data(), bytes.size()) == media::PictureFormat::kPng) {
    fuzz::CorrectChecksums(&bytes);
  }
  std::unique_ptr<media::FrameSource> source;
  auto reader = std::make_unique<media::ByteReader>(fmemopen(bytes.data(), bytes.size(), "rb"));
  common::Failure failure = media::OpenFrameSource(std::move(reader), options, &source);
  bool at_end = false;
  for (int i = 0; i < 3 && !failure && !at_end; ++i) {
    media::Nv12Frame frame;
    failure = source->Next(&frame, &at_end);
    if (failure || at_end) continue;
    Require(frame.width == source->Width() && frame.height == source->Height(), "frames fit");
    Require(frame.bytes.size() == frame.LumaSize() + frame.ChromaSize(), "planes are whole");
    const auto pixels = static_cast<std::size_t>(frame.width * frame.height);
    Require(pixels <= bytes.size() * 8256, "a small file is no large picture");
    if (frame.bytes.size() < 50'000) Require(!media::Nv12ToPicture(frame).rgb.empty(), "a picture");
  }
  const bool is_line = !failure || failure->message.find('\n') == std::string::npos;
  Require(is_line, "a failure has a one-line message");
}

// Parses a recording: it fails with one line, or every value is usable.
static void ReadRecording(fuzz::Script& script) {
  const std::vector<uint8_t> bytes = script.Rest();
  const int descriptor = memfd_create("recording", 0);
  Require(write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
          "memory is there");
  record::RecordingFile file;
  const common::Failure failure = file.Take(descriptor, "file");
  if (failure) return Require(failure->message.rfind("file: line ", 0) == 0, "a line is named");
  framework::Metadata metadata;
  record::StepReader steps(file);
  for (std::optional<record::Step> step; !steps.Next(&step) && step;) {
    const auto* const request = std::get_if<record::RequestStep>(&step->what);
    if (request == nullptr || !request->in.face_rectangles) continue;
    framework::DeviceState state;
    state.face_rectangles = *request->in.face_rectangles;
    SetInput(state, &metadata);
    Require(framework::ReadInput(metadata).face_rectangles == state.face_rectangles,
            "values that were set are read");
  }
  record::Comparison comparison({});
  Require(!CompareRecordings(file, file, &comparison), "a checked recording can be read");
  Require(comparison.Count() == 0, "a recording is as itself");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script script(bytes, size);
  script.OneIn(16) ? ReadRecording(script) : ReadFrames(script);
  return 0;
}
