// SPDX-License-Identifier: Apache-2.0
#include "camsim/table.h"

#include <algorithm>
#include <cinttypes>

#include "common/escape.h"
#include "record/json_lines.h"

namespace camsim {
namespace {

using framework::kSlots;
using framework::Outcome;
using framework::Why;
using record::RequestRecord;

constexpr std::size_t kColumns = 80;

// Returns how many slots a row shows: those of a face.
int SlotsOf(const RequestRecord& request) {
  return static_cast<int>(std::min<std::size_t>(request.faces.size(), kSlots));
}

// Returns the reasons of these slots: once if they agree, else by slot number.
std::string ReasonsOf(const RequestRecord& request) {
  if (request.outcome == Outcome::kUnknown) return NameOf(request.outcome);
  std::string reasons, first = request.WhyText(0);
  bool agree = true;
  for (int slot = 0; slot < SlotsOf(request); ++slot) {
    const std::string text = request.WhyText(static_cast<std::size_t>(slot));
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

// Formats the summary, without the pace, as one line.
std::string SummaryLine(const record::Summary& summary) {
  const auto count = [](auto number, const char* text) { return std::to_string(number) + text; };
  std::string line = count(summary.sent, " requests sent, ");
  if (summary.unknown != 0) {
    line += count(summary.taken, " seen taken; the node does not log the others; ");
  } else {
    line += count(summary.HandedOver(), " handed over: ") + count(summary.taken, " taken, ") +
            count(summary.dropped, " dropped, ") +
            count(summary.skipped, " skipped by the worker's pacing; ");
  }
  return line + count(summary.analysed, " analysed");
}

}  // namespace

void Table::Begin(const record::RunHeader&) {
  if (has_rows_ && options_.real_models) {
    std::fputs("Estimates by a small network, no basis for decisions about people.\n", to_);
  }
}

common::Failure Table::OnRequest(const RequestRecord& request, const media::Nv12Frame& picture) {
  if (has_rows_ && (options_.all || request.outcome != Outcome::kNotOffered)) {
    PrintRow(request);
  }
  NoteFaces(request, {picture.width, picture.height});
  last_ = request;
  return std::nullopt;
}

void Table::NoteFaces(const RequestRecord& request, common::Size picture) {
  const int orientation = options_.IsUpright() ? 270 : request.in.orientation.value_or(270);
  for (const common::Rect& face : request.faces) {
    has_analysed_ |= framework::IsAnalysed(face, picture, orientation);
    if (face.w <= largest_.w) continue;
    largest_ = face;
    shorter_side_ = std::min(picture.width, picture.height);
  }
}

// The rows before had fewer slots, or there were none.
void Table::PrintHead(int slots) {
  slots_ = slots;
  std::string names = "   faces", figures = "request ";
  for (int slot = 0; slot < slots; ++slot) {
    names += " | ------ slot " + std::to_string(slot) + " -------";
    figures += " | gender age score prop";
  }
  PrintLine(names, "");
  PrintLine(figures, "why zero or default");
}

void Table::PrintRow(const RequestRecord& request) {
  const framework::ResultRecord& result = request.out.result;
  if (SlotsOf(request) > slots_) PrintHead(SlotsOf(request));
  char text[256];
  std::snprintf(text, sizeof(text), "%6" PRId64 " %d", request.number, result.face_count);
  std::string cells = text;
  for (int slot = 0; slot < SlotsOf(request); ++slot) {
    std::snprintf(text, sizeof(text), " | %5.3f %4.1f %5.1f %4.2f", result.gender[slot],
                  result.age[slot], result.score[slot], result.prop[slot]);
    cells += text;
  }
  PrintLine(cells, ReasonsOf(request));
}

void Table::PrintLine(const std::string& cells, const std::string& reasons) {
  const std::string column = reasons.empty() ? "" : " | " + reasons;
  const bool fits = cells.size() + column.size() <= kColumns;
  std::fprintf(to_, "%s%s%s\n", cells.c_str(), fits ? "" : "\n        ", column.c_str());
}

std::string Table::FacesLine() const {
  if (has_analysed_ || options_.source.input.empty()) return "";
  if (largest_.w == 0) return "no faces: give --face X,Y,W,H or --faces auto\n";
  return "largest face " + std::to_string(largest_.w) + " pixels wide, analysed above " +
         std::to_string(shorter_side_ / framework::kFaceDivisor) + ": try --crop auto\n";
}

common::Failure Table::Finish(const record::Summary& summary) {
  PrintNotHandedOver(summary);
  std::fprintf(to_, "%s%s\n%s", FacesLine().c_str(), SummaryLine(summary).c_str(),
               OwnTagsLine(last_.out.values).c_str());
  if (!summary.pace.empty()) std::fprintf(to_, "%s\n", summary.pace.c_str());
  return std::nullopt;
}

void Table::PrintNotHandedOver(const record::Summary& summary) const {
  const int64_t count = summary.sent - summary.HandedOver() - summary.unknown;
  if (!has_rows_ || options_.all || count == 0) return;
  const framework::SlotWhy why = last_.why ? (*last_.why)[0] : framework::SlotWhy();
  const Why main = why.score == Why::kOff ? why.estimates : why.score;
  const bool says_why = summary.HandedOver() == 0 && main != Why::kNotHandedOver;
  std::fprintf(to_, "requests that were not handed over: %" PRId64 " (%s--all prints them)\n",
               count, says_why ? (TextOf(why) + "; ").c_str() : "");
}

}  // namespace camsim
