// SPDX-License-Identifier: Apache-2.0
// What camsim tells of a run: a table, JSON lines, an annotated picture.
#ifndef ZY_APPS_CAMSIM_REPORT_H_
#define ZY_APPS_CAMSIM_REPORT_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "framework/framework.h"
#include "pictures/error.h"
#include "pictures/geometry.h"
#include "pictures/nv12.h"

namespace camsim {

// What became of a frame at the worker.
enum class Outcome { kNotOffered, kSkipped, kDropped, kTaken };

struct RequestReport {
  uint64_t frame_number = 0;
  std::vector<pictures::Rect> faces;
  Outcome outcome = Outcome::kNotOffered;
  framework::ResultRecord result = {};
};

struct Summary {
  int sent = 0;
  int skipped = 0;
  int dropped = 0;
  int taken = 0;
  uint64_t analysed = 0;

  int HandedOver() const { return skipped + dropped + taken; }
  void Count(Outcome outcome);
};

void PrintTableHead(std::FILE* to);
void PrintTableRow(const RequestReport& report, std::FILE* to);
void PrintSummary(const Summary& summary, std::FILE* to);

// One line of JSON, its line break included.
std::string JsonLine(const RequestReport& report);

// Writes the frame with its faces outlined and labelled with their results.
pictures::Failure WriteAnnotated(const std::string& path, const pictures::Nv12Frame& frame,
                                 const RequestReport& report);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_REPORT_H_
