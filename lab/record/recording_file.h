// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_RECORDING_FILE_H_
#define ZY_RECORD_RECORDING_FILE_H_

#include <cstdint>
#include <optional>
#include <string>

#include "common/failure.h"
#include "record/recording.h"

namespace record {

// A recording or a script in a file. Memory holds only its longest line. Failures begin with the
// file's name and the line's number. One thread at a time.
class RecordingFile {
 public:
  RecordingFile() = default;
  ~RecordingFile();
  RecordingFile(const RecordingFile&) = delete;
  RecordingFile& operator=(const RecordingFile&) = delete;

  // Opens a file and checks all of its lines once. Standard input ("-") and other inputs that
  // cannot be read twice are copied to a temporary file. Also fails on an interrupt of the program.
  common::Failure Open(const std::string& path);
  // Does the same for an open regular file, which it then owns; `name` is its name in messages.
  common::Failure Take(int descriptor, const std::string& name);

  // Reads the whole opened file.
  common::Failure ReadText(std::string* text) const;

  const std::string& Name() const { return name_; }
  // Returns the header; nothing if the first line is none.
  const std::optional<RunHeader>& Header() const { return header_; }
  // Returns the number of the last request; 0 without one.
  int64_t LastRequest() const { return last_request_; }
  // Prefixes a failure of a line with the file's name and the line's number.
  common::Failure FailAt(int line, const common::Failure& failure) const;

 private:
  friend class LineReader;

  common::Failure Check();

  std::string name_;
  int descriptor_ = -1;  // -1 for a file that was not opened, which has no lines
  std::optional<RunHeader> header_;
  int64_t last_request_ = 0;
};

// Reads the lines of a file. A copy continues at the original's position.
class LineReader {
 public:
  explicit LineReader(const RecordingFile& file) : file_(&file) {}

  // Reads and parses the next line; nothing at the end.
  common::Failure Next(std::optional<Line>* line);
  // Returns the number of the latest line, from 1.
  int Number() const { return number_; }

 private:
  // Reads up to the next line break; returns false at the end of the file.
  bool ReadText(common::Failure* failure);

  const RecordingFile* file_;
  int number_ = 0;
  int64_t offset_ = 0;  // of the bytes after the buffer
  std::string buffer_;
  std::size_t at_ = 0;  // in the buffer
  std::string text_;
};

// Reads the steps of a file, request by request.
class StepReader {
 public:
  explicit StepReader(const RecordingFile& file) : lines_(file) {}

  // Reads the next step for the request of this number or an earlier one; nothing when none is
  // left.
  common::Failure Next(std::optional<Step>* step, int64_t last = INT64_MAX);

 private:
  common::Failure ReadAhead();
  // Finds the number of the request that follows an event.
  common::Failure FindRequest(int64_t* number) const;

  LineReader lines_;
  int64_t next_request_ = 0;  // of the current events; 0 is unknown
  std::optional<Step> ahead_;
  bool at_end_ = false;
};

// Compares the requests of a recording with those of a run, in their order, and adds its events.
class RecordedRequests {
 public:
  // In a replay, lines without results, and requests that the recording lacks, are no differences.
  RecordedRequests(const RecordingFile& recorded, bool is_replay, Comparison* comparison)
      : steps_(recorded), is_replay_(is_replay), comparison_(comparison) {}

  // Compares the requests up to this number, the last with the run's request of the number, if any.
  // Ends early on an interrupt of the program.
  common::Failure CompareUpTo(int64_t number, const Returned* run);

 private:
  StepReader steps_;
  const bool is_replay_;
  Comparison* const comparison_;
};

// Compares all requests of two recordings.
common::Failure CompareRecordings(const RecordingFile& run, const RecordingFile& other,
                                  Comparison* comparison);

}  // namespace record

#endif  // ZY_RECORD_RECORDING_FILE_H_
