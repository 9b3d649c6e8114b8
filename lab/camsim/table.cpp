// SPDX-License-Identifier: Apache-2.0
#include "camsim/table.h"

#include <cinttypes>

#include "common/escape.h"
#include "record/json_lines.h"

namespace camsim {
namespace {

using framework::kSlots;
using framework::Outcome;
using record::RequestRecord;

// Returns the reasons of all slots: once if they agree, else by slot number.
std::string ReasonsOf(const RequestRecord& request) {
  if (request.outcome == Outcome::kUnknown) return NameOf(request.outcome);
  std::string reasons, first = request.WhyText(0);
  bool agree = true;
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    const std::string text = request.WhyText(slot);
    agree &= text == first;
    if (text.empty()) continue;
    if (!reasons.empty()) reasons += ", ";
    reasons += std::to_string(slot) + " " + text;
  }
  return agree ? first : reasons;
}

// Formats the tags besides the record's.
std::string OwnTagsLine(const std::vector<record::NamedValues>& values) {
  std::string tags;
  for (const record::NamedValues& tag : values) {
    const std::size_t dot = tag.name.rfind('.');
    if (dot == tag.name.npos) continue;
    tags += ", " + tag.name.substr(dot + 1) + " ";
    for (std::size_t i = 0; i < tag.values.size(); ++i) {
      tags += (i == 0 ? "" : "x") + record::TextOf(tag.values[i]);
    }
  }
  return tags.empty() ? "" : "the node's own tags: " + common::Escaped(tags.substr(2)) + "\n";
}

}  // namespace

void Table::Begin(const record::RunHeader&) {
  if (!options_.has_rows) return;
  if (options_.real_models) {
    std::fputs("Estimates by a small network, no basis for decisions about people.\n", to_);
  }
  std::fprintf(to_, "%7s %5s", "", "");
  for (int slot = 0; slot < kSlots; ++slot) std::fprintf(to_, " | ------- slot %d -------", slot);
  std::fprintf(to_, " |\n%7s %5s", "request", "faces");
  for (int slot = 0; slot < kSlots; ++slot) std::fprintf(to_, " | gender   age score prop");
  std::fprintf(to_, " | why zero or default\n");
}

common::Failure Table::OnRequest(const RequestRecord& request, const media::Nv12Frame&) {
  if (options_.has_rows && (options_.all || request.outcome != Outcome::kNotOffered)) {
    PrintRow(request);
  }
  last_why_ = request.why ? (*request.why)[0] : framework::SlotWhy();
  last_values_ = request.out.values;
  return std::nullopt;
}

void Table::PrintRow(const RequestRecord& request) const {
  const framework::ResultRecord& result = request.out.result;
  std::fprintf(to_, "%7" PRId64 " %5d", request.number, result.face_count);
  for (int slot = 0; slot < kSlots; ++slot) {
    std::fprintf(to_, " | %6.3f %5.1f %5.1f %4.2f", result.gender[slot], result.age[slot],
                 result.score[slot], result.prop[slot]);
  }
  const std::string reasons = ReasonsOf(request);
  std::fprintf(to_, " |%s%s\n", reasons.empty() ? "" : " ", reasons.c_str());
}

common::Failure Table::Finish(const record::Summary& summary) {
  PrintNotHandedOver(summary);
  std::fprintf(to_, "%s\n%s", LineOf(summary).c_str(), OwnTagsLine(last_values_).c_str());
  if (!summary.pace.empty()) std::fprintf(to_, "%s\n", summary.pace.c_str());
  return std::nullopt;
}

void Table::PrintNotHandedOver(const record::Summary& summary) const {
  const int64_t count = summary.sent - summary.HandedOver() - summary.unknown;
  if (!options_.has_rows || options_.all || count == 0) return;
  const bool says_why =
      summary.HandedOver() == 0 && last_why_.score != framework::Why::kNotHandedOver;
  std::fprintf(to_, "requests that were not handed over: %" PRId64 " (%s--all prints them)\n",
               count, says_why ? (TextOf(last_why_) + "; ").c_str() : "");
}

}  // namespace camsim
