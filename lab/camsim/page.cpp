// SPDX-License-Identifier: Apache-2.0
#include "camsim/page.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "media/annotate.h"

namespace camsim {
namespace {

constexpr std::size_t kSlots = 3;
constexpr const char* kFigures[] = {"gender", "age", "score", "prop"};
constexpr const char* kOutcomes[] = {"not offered", "skipped", "dropped", "taken", "?"};
constexpr std::size_t kTimelineRequests = 72;
constexpr int kPictureSide = 640;

// page_head.html, whose colours o0 to o4 are those of kOutcomes.
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

std::string Escape(const framework::Json& value) {
  std::string text = value.is_string() ? value.get<std::string>() : framework::LineOf(value);
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

int OutcomeOf(const framework::Json& request) {
  const auto found = std::find(std::begin(kOutcomes), std::end(kOutcomes), request["outcome"]);
  return static_cast<int>(found - std::begin(kOutcomes));
}

// Whether the figure came from a pass. A slot may lack its score alone, or all but its score.
bool IsFigure(const framework::Json& why, const std::string& figure) {
  if (why.is_null()) return true;
  const std::string part = why.get<std::string>().substr(0, 6);
  return figure == "score" ? part == "estima" : part == "score ";
}

std::string Bar(int colour, double x, int y, double width) {
  return Format("<rect class=\"o%d\" x=\"%.2f\" y=\"%d\" width=\"%.2f\" height=\"18\"/>", colour, x,
                y, width);
}

}  // namespace

void Page::AddRequest(const framework::Json& request, Span time) {
  requests_.push_back({request, time});
  if (requests_.size() > kRequests) requests_.pop_front();
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    if (request["why"][slot].is_null()) continue;
    std::vector<int>& counts = empty_[request["why"][slot]];
    counts.resize(kSlots);
    ++counts[slot];
  }
  if (request["figures_age"].is_null()) return;
  const int64_t analysed =
      request["request"].get<int64_t>() - request["figures_age"].get<int64_t>();
  for (ShownPass& shown : passes_) {
    if (shown.pass.request == analysed && shown.first.is_null()) shown.first = request;
  }
}

void Page::AddPass(Pass pass, const media::Picture& frame) {
  pass_times_.push_back({pass.request, {}, pass.worker, pass.time, {}, {}});
  if (pass_times_.size() > kTimelineRequests) pass_times_.pop_front();
  for (const ModelCall& call : pass.calls) {
    media::DrawRectangle(call.face, {255, 190, 60}, 2, &pass.seen);
  }
  passes_.push_back({std::move(pass), media::Shrink(frame, kPictureSide), {}});
  if (passes_.size() > kPasses) passes_.pop_front();
}

std::string Page::Html(const framework::Json& header, const std::string& summary) const {
  std::string html = kHead + ("<p>" + Escape(summary)) + "<dl>";
  for (const auto& [key, value] : header.items()) {
    html += "<dt>" + Escape(key) + "<dd>";
    if (!value.is_object()) html += Escape(value);
    if (value.is_object()) {
      for (const Json& part : value) html += Escape(part) + "<br>";
    }
  }
  html += "</dl>" + Outcomes() + "<h2>Figures of each slot over the requests</h2><div class=plots>";
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    for (const char* figure : kFigures) html += Plot(slot, figure);
  }
  return html + "</div>" + Timeline() + Passes() + EmptySlots() + "</html>\n";
}

std::string Page::Outcomes() const {
  std::map<int, int> counts;
  double x = 0;
  std::string bars, html = "<h2>What became of each frame</h2><p class=\"dim\">";
  for (const Request& request : requests_) {
    bars += Bar(OutcomeOf(request.json), x++, 0, 1);
    ++counts[OutcomeOf(request.json)];
  }
  for (const auto& [outcome, count] : counts) {
    html += "<svg class=\"key\" viewBox=\"0 0 9 9\">" + Bar(outcome, 0, 0, 9) + "</svg>" +
            kOutcomes[outcome] + ": " + std::to_string(count);
  }
  return html +
         Format("<svg viewBox=\"0 0 %zu 18\" preserveAspectRatio=\"none\" height=\"28\">",
                requests_.size()) +
         bars + "</svg>";
}

std::string Page::Plot(std::size_t slot, const char* figure) const {
  std::vector<std::pair<double, double>> points;
  for (const Request& request : requests_) {
    const Json& out = request.json["out"];
    if (!IsFigure(request.json["why"][slot], figure) || !out.contains(figure)) continue;
    const Json& value = out[figure][slot];
    if (value.is_number()) points.push_back({value, request.json["request"]});
  }
  std::string html = Format("<figure><figcaption>slot %zu %s: ", slot, figure);
  if (points.empty()) return html + "none</figcaption></figure>";
  const double lowest = std::min_element(points.begin(), points.end())->first;
  const double highest = std::max_element(points.begin(), points.end())->first;
  const double first = requests_.front().json["request"], last = requests_.back().json["request"];
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
  const auto add_bar = [&](Span time, int row, int colour) {
    bars += Bar(colour, scaled(time.at - origin), 22 * row + 14, std::max(1.0, scaled(time.took)));
  };
  for (auto request = begin; request != requests_.end(); ++request) {
    add_bar(request->time, 0, OutcomeOf(request->json));
    if (request->json["outcome"] == "not offered") continue;
    bars += Format("<text x=\"%.1f\" y=\"11\">", scaled(request->time.at - origin)) +
            request->json["request"].dump() + "</text>";
  }
  int rows = 1;
  for (const Pass& pass : pass_times_) {
    if (pass.time.at < origin) continue;
    add_bar(pass.time, pass.worker, 3);
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
    if (shown.first.is_null()) continue;
    html += "<p>Its figures from request " + shown.first["request"].dump() +
            " on<table><tr><th>slot<th>gender<th>age<th>score<th>prop<th>why empty";
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
      html += Format("<tr><td>%zu", slot);
      for (const char* figure : kFigures) html += "<td>" + Escape(shown.first["out"][figure][slot]);
      const Json& why = shown.first["why"][slot];
      html += "<td>" + (why.is_null() ? "" : Escape(why));
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
