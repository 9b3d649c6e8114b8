// SPDX-License-Identifier: Apache-2.0
#include "camsim/page.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "camsim/annotated.h"
#include "media/annotate.h"
#include "record/json_lines.h"

namespace camsim {
namespace {

using framework::kSlots;
using framework::Outcome;
using record::kFigures;
using record::Span;

constexpr std::size_t kTimelineRequests = 72;
constexpr int kPictureSide = 640;

// page_head.html, whose colours o0 to o4 are those of the outcomes, in their order.
constexpr char kHead[] =
#include "camsim/page_head.inc"
    ;

[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return text;
}

std::string Escape(std::string text) {
  for (std::size_t at = 0; (at = text.find_first_of("<&", at)) != text.npos; ++at) {
    text.replace(at, 1, text[at] == '<' ? "&lt;" : "&amp;");
  }
  return text;
}

std::string Image(const media::Picture& picture) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<uint8_t> jpeg;
  if (picture.width == 0 || media::EncodeJpeg(media::Shrink(picture, kPictureSide), &jpeg)) {
    return "";
  }
  std::string html = "<img alt=\"\" src=\"data:image/jpeg;base64,";
  const std::size_t size = jpeg.size();
  jpeg.resize(size + 2);
  for (std::size_t i = 0; i < size; i += 3) {
    const int bits = jpeg[i] << 16 | jpeg[i + 1] << 8 | jpeg[i + 2];
    for (std::size_t k = 0; k < 4; ++k) {
      html += i + k > size ? '=' : kDigits[bits >> (18 - 6 * k) & 63];
    }
  }
  return html + "\">";
}

// Whether the figure came from a pass.
bool IsFigure(framework::SlotWhy why, const record::Figure& figure) {
  return (figure.is_score ? why.score : why.estimates) == framework::Why::kIsFigure;
}

record::Value ValueOf(const record::RequestRecord& request, std::size_t slot,
                      const record::Figure& figure) {
  return record::ValueOf((request.out.result.*figure.of)[slot]);
}

std::string Bar(Outcome outcome, double x, int y, double width) {
  return Format("<rect class=\"o%d\" x=\"%.2f\" y=\"%d\" width=\"%.2f\" height=\"18\"/>",
                static_cast<int>(outcome), x, y, width);
}

}  // namespace

common::Failure Page::OnRequest(const record::RequestRecord& request,
                                const media::Nv12Frame& picture) {
  requests_.push_back(request);
  if (requests_.size() > kRequests) requests_.pop_front();
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    const std::string why = request.WhyText(slot);
    if (!why.empty()) ++empty_[why][slot];
  }
  for (ShownPass& shown : passes_) {
    if (request.figures_age && shown.pass.request == request.number - *request.figures_age &&
        !shown.first) {
      shown.first = request;
    }
  }
  if (request.outcome == Outcome::kTaken) handed_over_ = DrawFaces(picture, request.faces);
  return std::nullopt;
}

void Page::OnPass(const record::PassRecord& pass) {
  pass_times_.push_back({pass.request, {}, pass.worker, pass.time, {}, {}});
  if (pass_times_.size() > kTimelineRequests) pass_times_.pop_front();
  passes_.push_back({pass, media::Shrink(handed_over_, kPictureSide), {}});
  media::Picture& seen = passes_.back().pass.seen;
  for (const record::ModelCall& call : pass.calls) {
    media::DrawRectangle(call.face, {255, 190, 60}, 2, &seen);
  }
  if (passes_.size() > kPasses) passes_.pop_front();
}

common::Failure Page::Finish(const record::Summary& summary) {
  std::string html = Head(summary) + Outcomes() +
                     "<h2>Figures of each slot over the requests</h2><div class=plots>";
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    for (const record::Figure& figure : kFigures) html += Plot(slot, figure);
  }
  html += "</div>" + Timeline() + Passes() + EmptySlots() + "</html>\n";
  std::fwrite(html.data(), 1, html.size(), to_);
  return std::nullopt;
}

std::string Page::Head(const record::Summary& summary) const {
  std::string html = kHead + ("<p>" + Escape(LineOf(summary))) + "<dl>";
  for (const auto& [key, texts] : ItemsOf(header_)) {
    html += "<dt>" + Escape(key) + "<dd>";
    for (const std::string& text : texts) html += Escape(text) + (texts.size() > 1 ? "<br>" : "");
  }
  return html + "</dl>";
}

std::string Page::Outcomes() const {
  std::map<Outcome, int> counts;
  double x = 0;
  std::string bars, html = "<h2>What became of each frame</h2><p class=\"dim\">";
  for (const record::RequestRecord& request : requests_) {
    bars += Bar(request.outcome, x++, 0, 1);
    ++counts[request.outcome];
  }
  for (const auto& [outcome, count] : counts) {
    html += "<svg class=\"key\" viewBox=\"0 0 9 9\">" + Bar(outcome, 0, 0, 9) + "</svg>" +
            NameOf(outcome) + ": " + std::to_string(count);
  }
  return html +
         Format("<svg viewBox=\"0 0 %zu 18\" preserveAspectRatio=\"none\" height=\"28\">",
                requests_.size()) +
         bars + "</svg>";
}

std::string Page::Plot(std::size_t slot, const record::Figure& figure) const {
  std::vector<std::pair<double, double>> points;
  for (const record::RequestRecord& request : requests_) {
    if (request.why && !IsFigure((*request.why)[slot], figure)) continue;
    const record::Value value = ValueOf(request, slot, figure);
    if (const double* const number = std::get_if<double>(&value)) {
      points.emplace_back(*number, static_cast<double>(request.number));
    }
  }
  std::string html = Format("<figure><figcaption>slot %zu %s: ", slot, figure.name);
  if (points.empty()) return html + "none</figcaption></figure>";
  const double lowest = std::min_element(points.begin(), points.end())->first;
  const double highest = std::max_element(points.begin(), points.end())->first;
  const auto first = static_cast<double>(requests_.front().number);
  const auto last = static_cast<double>(requests_.back().number);
  html += Format("%.4g to %.4g</figcaption><svg viewBox=\"0 0 260 70\"><polyline points=\"", lowest,
                 highest);
  for (const auto& [value, number] : points) {
    const double height = highest > lowest ? (value - lowest) / (highest - lowest) : 0.5;
    html += Format("%.1f,%.1f ", 5 + 250 * (number - first) / std::max(1.0, last - first),
                   65 - 60 * height);
  }
  return html + "\"/></svg></figure>";
}

std::string Page::Timeline() const {
  const std::size_t count = std::min(requests_.size(), kTimelineRequests);
  if (count == 0) return "";
  const auto begin = requests_.end() - static_cast<std::ptrdiff_t>(count);
  const int64_t origin = begin->time.at,
                end = requests_.back().time.at + requests_.back().time.took;
  const double scale = 1000.0 / static_cast<double>(end - origin + 1);
  const auto scaled = [scale](int64_t time) { return scale * static_cast<double>(time); };
  std::string bars;
  const auto add_bar = [&](Span time, int row, Outcome colour) {
    bars += Bar(colour, scaled(time.at - origin), 22 * row + 14, std::max(1.0, scaled(time.took)));
  };
  for (auto request = begin; request != requests_.end(); ++request) {
    add_bar(request->time, 0, request->outcome);
    if (request->outcome == Outcome::kNotOffered) continue;
    bars += Format("<text x=\"%.1f\" y=\"11\">", scaled(request->time.at - origin)) +
            std::to_string(request->number) + "</text>";
  }
  int rows = 1;
  for (const record::PassRecord& pass : pass_times_) {
    if (pass.time.at < origin) continue;
    add_bar(pass.time, pass.worker, Outcome::kTaken);
    rows = std::max(rows, pass.worker + 1);
  }
  return "<h2>Requests, and below them the passes of each worker</h2><p class=\"dim\">" +
         Format("The last %zu requests, %.0f ms", count, static_cast<double>(end - origin) / 1000) +
         Format("<svg viewBox=\"0 0 1000 %d\">", 22 * rows + 14) + bars + "</svg>";
}

std::string Page::Passes() const {
  std::string html =
      "<h2>The last passes</h2><p class=\"dim\">The frame that was handed over, and beside it what "
      "the models saw, where their library tells.";
  for (const ShownPass& shown : passes_) {
    html += "<article><h3>Request " + std::to_string(shown.pass.request) +
            "</h3><div class=\"pair\">" + Image(shown.frame) + Image(shown.pass.seen) + "</div>";
    if (!shown.first) continue;
    html += "<p>Its figures from request " + std::to_string(shown.first->number) +
            " on<table><tr><th>slot<th>gender<th>age<th>score<th>prop<th>why empty";
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
      html += Format("<tr><td>%zu", slot);
      for (const record::Figure& figure : kFigures) {
        const record::Value value = ValueOf(*shown.first, slot, figure);
        const std::string* const text = std::get_if<std::string>(&value);
        html += "<td>" + (text != nullptr ? *text : record::TextOf(value));
      }
      html += "<td>" + Escape(shown.first->WhyText(slot));
    }
    html += "</table></article>";
  }
  return html;
}

std::string Page::EmptySlots() const {
  std::string html =
      "<h2>Why slots were empty</h2><table><tr><th>reason<th>slot 0<th>slot 1<th>slot 2";
  for (const auto& [why, counts] : empty_) {
    html += "<tr><td>" + Escape(why);
    for (const int count : counts) html += "<td>" + std::to_string(count);
  }
  return html + "</table>";
}

}  // namespace camsim
