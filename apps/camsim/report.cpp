// SPDX-License-Identifier: Apache-2.0
#include "apps/camsim/report.h"

#include <algorithm>
#include <cinttypes>
#include <nlohmann/json.hpp>

#include "pictures/annotate.h"
#include "pictures/picture.h"

namespace camsim {
namespace {

constexpr int kSlots = 3;
constexpr pictures::Colour kFaceColours[kSlots] = {{80, 220, 100}, {90, 170, 255}, {255, 190, 60}};

const char* Name(Outcome outcome) {
  switch (outcome) {
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

std::string Label(const framework::ResultRecord& result, int slot) {
  char text[96];
  std::snprintf(text, sizeof(text), "gender %.2f age %.1f score %.1f prop %.2f",
                result.gender[slot], result.age[slot], result.score[slot], result.prop[slot]);
  return text;
}

}  // namespace

void Summary::Count(Outcome outcome) {
  ++sent;
  skipped += outcome == Outcome::kSkipped;
  dropped += outcome == Outcome::kDropped;
  taken += outcome == Outcome::kTaken;
}

void PrintTableHead(std::FILE* to) {
  std::fprintf(to, "%7s %5s", "", "");
  for (int slot = 0; slot < kSlots; ++slot) std::fprintf(to, " | ------- slot %d -------", slot);
  std::fprintf(to, "\n%7s %5s", "request", "faces");
  for (int slot = 0; slot < kSlots; ++slot) std::fprintf(to, " | gender   age score prop");
  std::fprintf(to, "\n");
}

void PrintTableRow(const RequestReport& report, std::FILE* to) {
  const framework::ResultRecord& result = report.result;
  std::fprintf(to, "%7" PRIu64 " %5d", report.frame_number, result.face_count);
  for (int slot = 0; slot < kSlots; ++slot) {
    std::fprintf(to, " | %6.3f %5.1f %5.1f %4.2f", result.gender[slot], result.age[slot],
                 result.score[slot], result.prop[slot]);
  }
  std::fprintf(to, "\n");
}

void PrintSummary(const Summary& summary, std::FILE* to) {
  std::fprintf(to,
               "%d requests sent, %d handed over: %d taken, %d dropped, %d skipped by the worker's "
               "pacing; %" PRIu64 " analysed\n",
               summary.sent, summary.HandedOver(), summary.taken, summary.dropped, summary.skipped,
               summary.analysed);
}

std::string JsonLine(const RequestReport& report) {
  const framework::ResultRecord& result = report.result;
  nlohmann::ordered_json json;
  json["request"] = report.frame_number;
  json["faces"] = nlohmann::ordered_json::array();
  for (const pictures::Rect& face : report.faces)
    json["faces"].push_back({face.x, face.y, face.w, face.h});
  json["outcome"] = Name(report.outcome);
  json["faceNum"] = result.face_count;
  json["gender"] = result.gender;
  json["age"] = result.age;
  json["score"] = result.score;
  json["prop"] = result.prop;
  return json.dump() + "\n";
}

pictures::Failure WriteAnnotated(const std::string& path, const pictures::Nv12Frame& frame,
                                 const RequestReport& report) {
  pictures::Picture picture = pictures::Nv12ToPicture(frame);
  const int scale = std::max(1, picture.width / 640);
  const int faces = std::min(static_cast<int>(report.faces.size()), kSlots);
  for (int slot = 0; slot < faces; ++slot) {
    const bool has_result = slot < report.result.face_count;
    pictures::DrawLabelledFace(report.faces[static_cast<size_t>(slot)],
                               has_result ? Label(report.result, slot) : "no result",
                               kFaceColours[slot], scale, &picture);
  }
  pictures::DrawLabel(0, picture.height - 8 * scale, "stand-in figures, no estimates of a person",
                      {200, 200, 200}, scale, &picture);
  return pictures::WritePng(path, picture);
}

}  // namespace camsim
