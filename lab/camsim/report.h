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

#include "camsim/trace.h"
#include "camsim/why.h"
#include "framework/framework.h"
#include "framework/recording.h"
#include "media/error.h"
#include "media/geometry.h"
#include "media/nv12.h"
#include "media/picture.h"

namespace camsim {

inline constexpr int kSlots = 3;

// What became of a frame at the worker.
enum class Outcome { kUnknown, kNotOffered, kSkipped, kDropped, kTaken };
const char* NameOf(Outcome outcome);

struct RequestReport {
  uint64_t frame_number = 0;
  std::vector<media::Rect> faces;
  Outcome outcome = Outcome::kNotOffered;
  framework::ResultRecord result = {};
  std::array<SlotWhy, kSlots> why = {};
  int64_t frame_index = 0;             // in the input
  std::string digest;                  // of the frame's pixels, where somebody asks
  std::optional<int64_t> figures_age;  // requests since the one whose frame gave the figures
  std::optional<Span> time;            // of a run in real time

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

void PrintTableHead(bool real_models, std::FILE* to);
void PrintTableRow(const RequestReport& report, std::FILE* to);
std::string SummaryLine(const Summary& summary);
// The tags that are not the record's, of what a request published.
std::string OwnTagsLine(const framework::Json& out);

// ---- Picture (annotated.cpp) --------------------------------------------------------------------

// The frame with its faces outlined and numbered by slot.
media::Picture DrawFaces(const media::Nv12Frame& frame,
                            const std::vector<media::Rect>& faces);

// What figures of the stand-ins, and of real networks, are.
inline constexpr char kStandInCaption[] = "stand-in figures,\nno estimates of a person";
inline constexpr char kRealCaption[] = "estimates by a small network,\nno basis for decisions";

// The frame with its faces outlined and labelled with their results, and a caption.
media::Picture Annotate(const media::Nv12Frame& frame, const RequestReport& report,
                           const std::string& caption);

// What is shown of a frame of a clip: its own faces with the figures that were published last, each
// with those of the face that it overlaps most.
RequestReport WithFigures(const RequestReport& frame, const RequestReport& published);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_REPORT_H_
