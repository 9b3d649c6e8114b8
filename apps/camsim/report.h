// SPDX-License-Identifier: Apache-2.0
// What camsim tells of a run: a table, JSON lines, an annotated picture.
#ifndef ZY_APPS_CAMSIM_REPORT_H_
#define ZY_APPS_CAMSIM_REPORT_H_

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "apps/camsim/why.h"
#include "framework/framework.h"
#include "pictures/error.h"
#include "pictures/geometry.h"
#include "pictures/nv12.h"

namespace camsim {

inline constexpr int kSlots = 3;

// What became of a frame at the worker.
enum class Outcome { kUnknown, kNotOffered, kSkipped, kDropped, kTaken };

struct RequestReport {
  uint64_t frame_number = 0;
  std::vector<pictures::Rect> faces;
  Outcome outcome = Outcome::kNotOffered;
  framework::ResultRecord result = {};
  std::array<SlotWhy, kSlots> why = {};
  std::vector<framework::PublishedTag> own_tags;
  std::optional<int64_t> took_us;  // of a run in real time

  bool HasFigures() const;
};

struct Summary {
  int sent = 0;
  int skipped = 0;
  int dropped = 0;
  int taken = 0;
  int unknown = 0;
  uint64_t analysed = 0;

  int HandedOver() const { return skipped + dropped + taken; }
  void Count(Outcome outcome);
};

// ---- Text (table.cpp) ---------------------------------------------------------------------------

void PrintTableHead(std::FILE* to);
void PrintTableRow(const RequestReport& report, std::FILE* to);
// `last` is the run's last request: what the node publishes under its own tags is shown once.
void PrintSummary(const Summary& summary, const RequestReport& last, std::FILE* to);

// ---- JSON lines (json_lines.cpp) ----------------------------------------------------------------

// The first line: the format's number, the version, the input and the size of its frames.
std::string JsonHeader(const std::string& input, int width, int height);
// One request. Both with their line break.
std::string JsonLine(const RequestReport& report);

// ---- Picture (annotated.cpp) --------------------------------------------------------------------

// Writes the frame with its faces outlined and labelled with their results.
pictures::Failure WriteAnnotated(const std::string& path, const pictures::Nv12Frame& frame,
                                 const RequestReport& report);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_REPORT_H_
