// SPDX-License-Identifier: Apache-2.0
#include "camsim/page.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "record/recording.h"

namespace camsim {
namespace {

constexpr int kPictureSide = 640;
constexpr std::size_t kMaxPlainText = std::size_t{1} << 20;  // larger ones are compressed

constexpr char kHtml[] =
#include "camsim/report/report.html.inc"
    ;
constexpr char kStyle[] =
#include "camsim/report/report.css.inc"
    ;
constexpr char kScript[] =
#include "camsim/report/report.js.inc"
    ;
// Elements of report.html that are replaced by the two other files.
constexpr std::string_view kStyleLink = "<link rel=\"stylesheet\" href=\"report.css\">";
constexpr std::string_view kScriptLink = "<script src=\"report.js\"></script>";

std::string Base64(std::vector<uint8_t> bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t size = bytes.size();
  bytes.resize(size + 2);
  std::string text;
  text.reserve(size / 3 * 4 + 4);
  for (std::size_t i = 0; i < size; i += 3) {
    const int bits = bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2];
    for (std::size_t k = 0; k < 4; ++k) {
      text += i + k > size ? '=' : kDigits[bits >> (18 - 6 * k) & 63];
    }
  }
  return text;
}

// Escapes JSON for a script element, so that it neither ends the element nor begins a comment.
std::string Escape(const std::string& json) {
  std::string text;
  for (const char c : json) text += c == '<' ? std::string("\\u003c") : std::string(1, c);
  return text;
}

std::vector<uint8_t> Compress(const std::string& text) {
  uLongf size = compressBound(text.size());
  std::vector<uint8_t> bytes(size);
  const auto* const from = reinterpret_cast<const Bytef*>(text.data());
  if (compress(bytes.data(), &size, from, text.size()) != Z_OK) throw std::bad_alloc();
  bytes.resize(size);
  return bytes;
}

// `attributes` is HTML.
std::string DataBlock(const std::string& attributes, const std::string& lines) {
  const bool is_large = lines.size() > kMaxPlainText;
  return "<script " + attributes + " type=\"application/" + (is_large ? "zlib" : "x-ndjson") +
         "\">" + (is_large ? Base64(Compress(lines)) : Escape(lines)) + "</script>\n";
}

// Writes the page with these blocks of data. `pictures` is HTML.
void WritePage(const std::string& data, const std::string& pictures, std::FILE* to) {
  const std::string_view html = kHtml;
  const std::size_t style = html.find(kStyleLink), script = html.find(kScriptLink);
  const auto write = [to](std::string_view text) { std::fwrite(text.data(), 1, text.size(), to); };
  write(html.substr(0, style));
  write(std::string("<style>\n") + kStyle + "</style>");
  write(html.substr(style + kStyleLink.size(), script - style - kStyleLink.size()));
  write(data);
  write("<template id=\"pictures\">\n" + pictures + "</template>\n");
  write(std::string("<script>\n") + kScript + "</script>");
  write(html.substr(script + kScriptLink.size()));
}

}  // namespace

void WriteComparison(const std::string& first, const std::string& second, double tolerance,
                     std::FILE* to) {
  const std::string up_to = record::TextOf(record::Value(tolerance));
  WritePage(DataBlock("id=\"recording\"", first) +
                DataBlock("id=\"recording2\" data-tolerance=\"" + up_to + "\"", second),
            "", to);
}

void Page::Begin(const record::RunHeader& header) {
  lines_ = LineOf(header);
  header_size_ = lines_.size();
  is_timed_ = header.realtime;
}

common::Failure Page::OnRequest(const record::RequestRecord& request,
                                const media::Nv12Frame& picture) {
  Add(LineOf(request, is_timed_));
  if (request.outcome == record::Outcome::kTaken) {
    handed_over_ = ShrinkPicture(media::Nv12ToPicture(picture));
  }
  return std::nullopt;
}

void Page::OnPass(const record::PassRecord& pass) {
  Add(LineOf(pass));
  pictures_.push_back({pass.request, std::move(handed_over_), ShrinkPicture(pass.seen)});
  if (pictures_.size() > kPasses) pictures_.pop_front();
}

common::Failure Page::Finish(const record::Summary&) {
  std::string pictures;
  for (const Pictures& kept : pictures_) {
    pictures += Image(kept.request, kept.frame, 1, "the frame") +
                Image(kept.request, kept.seen, 2, "what the models saw");
  }
  WritePage(DataBlock("id=\"recording\"", lines_), pictures, to_);
  return std::nullopt;
}

Page::Shrunk Page::ShrinkPicture(const media::Picture& picture) {
  if (picture.width == 0) return {};
  media::Picture shrunk = media::Shrink(picture, kPictureSide);
  const int factor =
      std::max(picture.width, picture.height) / std::max(shrunk.width, shrunk.height);
  const common::Size size = {shrunk.width * factor, shrunk.height * factor};
  return {std::move(shrunk), size};
}

// Writes an image element; `scale` is the side of its pixels in pixels of the frame.
std::string Page::Image(int64_t request, const Shrunk& shrunk, int scale, const char* name) {
  std::vector<uint8_t> jpeg;
  if (shrunk.picture.width == 0 || media::EncodeJpeg(shrunk.picture, &jpeg)) return "";
  return "<img data-request=\"" + std::to_string(request) + "\" data-scale=\"" +
         std::to_string(scale) + "\" data-width=\"" + std::to_string(shrunk.size.width) +
         "\" data-height=\"" + std::to_string(shrunk.size.height) + "\" alt=\"" + name +
         "\" src=\"data:image/jpeg;base64," + Base64(std::move(jpeg)) + "\">\n";
}

void Page::Add(const std::string& line) {
  lines_ += line;
  if (lines_.size() <= kMaxText) return;
  const std::size_t half = lines_.find('\n', kMaxText / 2) + 1;
  lines_.erase(header_size_, half - header_size_);
}

}  // namespace camsim
