// SPDX-License-Identifier: Apache-2.0
// What camsim tells of a run: a table, JSON lines, an annotated picture.
#ifndef ZY_SIM_REPORT_H_
#define ZY_SIM_REPORT_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "sim/error.h"
#include "sim/framework.h"
#include "sim/geometry.h"
#include "sim/nv12.h"

namespace sim {

// What became of a frame at the worker.
enum class Outcome { kNotOffered, kSkipped, kDropped, kTaken };

struct RequestReport {
  uint64_t frame_number = 0;
  std::vector<Rect> faces;
  Outcome outcome = Outcome::kNotOffered;
  ResultRecord result = {};
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
Failure WriteAnnotated(const std::string& path, const Nv12Frame& frame,
                       const RequestReport& report);

}  // namespace sim

#endif  // ZY_SIM_REPORT_H_
