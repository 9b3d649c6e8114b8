// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cinttypes>

#include "camsim/report.h"

namespace camsim {
namespace {

// The reasons of all slots: said once when they agree, by the slots' numbers otherwise.
std::string ReasonsOf(const RequestReport& report) {
  if (report.outcome == Outcome::kUnknown) return "?";
  std::string reasons, first = TextOf(report.why[0]);
  bool agree = true;
  for (int slot = 0; slot < kSlots; ++slot) {
    const std::string text = TextOf(report.why[static_cast<std::size_t>(slot)]);
    agree &= text == first;
    if (text.empty()) continue;
    if (!reasons.empty()) reasons += ", ";
    reasons += std::to_string(slot) + " " + text;
  }
  return agree ? first : reasons;
}

}  // namespace

const char* NameOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kUnknown:
      return "?";
    case Outcome::kNotOffered:
      return "not offered";
    case Outcome::kSkipped:
      return "skipped";
    case Outcome::kDropped:
      return "dropped";
    case Outcome::kTaken:
      return "taken";
  }
  return "";
}

bool RequestReport::HasFigures() const {
  return std::any_of(why.begin(), why.end(), [](SlotWhy slot) { return slot.HasFigures(); });
}

void Summary::Count(Outcome outcome) {
  ++sent;
  skipped += outcome == Outcome::kSkipped;
  dropped += outcome == Outcome::kDropped;
  taken += outcome == Outcome::kTaken;
  unknown += outcome == Outcome::kUnknown;
}

void PrintTableHead(bool real_models, std::FILE* to) {
  if (real_models) {
    std::fputs("Estimates by a small network, no basis for decisions about people.\n", to);
  }
  std::fprintf(to, "%7s %5s", "", "");
  for (int slot = 0; slot < kSlots; ++slot) std::fprintf(to, " | ------- slot %d -------", slot);
  std::fprintf(to, " |\n%7s %5s", "request", "faces");
  for (int slot = 0; slot < kSlots; ++slot) std::fprintf(to, " | gender   age score prop");
  std::fprintf(to, " | why zero or default\n");
}

void PrintTableRow(const RequestReport& report, std::FILE* to) {
  const framework::ResultRecord& result = report.result;
  std::fprintf(to, "%7" PRIu64 " %5d", report.frame_number, result.face_count);
  for (int slot = 0; slot < kSlots; ++slot) {
    std::fprintf(to, " | %6.3f %5.1f %5.1f %4.2f", result.gender[slot], result.age[slot],
                 result.score[slot], result.prop[slot]);
  }
  const std::string reasons = ReasonsOf(report);
  std::fprintf(to, " |%s%s\n", reasons.empty() ? "" : " ", reasons.c_str());
}

std::string SummaryLine(const Summary& summary) {
  char line[256];
  if (summary.unknown != 0) {
    std::snprintf(line, sizeof(line),
                  "%d requests sent, %d seen taken; the node does not tell of the others; %" PRIu64
                  " analysed",
                  summary.sent, summary.taken, summary.analysed);
  } else {
    std::snprintf(line, sizeof(line),
                  "%d requests sent, %d handed over: %d taken, %d dropped, %d skipped by the "
                  "worker's pacing; %" PRIu64 " analysed",
                  summary.sent, summary.HandedOver(), summary.taken, summary.dropped,
                  summary.skipped, summary.analysed);
  }
  return line;
}

std::string OwnTagsLine(const framework::Json& out) {
  std::string tags;
  for (const auto& [name, value] : out.items()) {
    const std::size_t dot = name.rfind('.');
    if (dot == name.npos) continue;
    tags += ", " + name.substr(dot + 1) + " ";
    for (std::size_t i = 0; i < value.size(); ++i) {
      tags += i == 0 ? "" : "x";
      tags += (value.is_array() ? value[i] : value).dump();
    }
  }
  return tags.empty() ? "" : "the node's own tags: " + tags.substr(2);
}

}  // namespace camsim
