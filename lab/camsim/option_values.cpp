// SPDX-License-Identifier: Apache-2.0
#include "camsim/option_values.h"

#include <cstdio>

#include "common/command_line.h"

namespace camsim {
namespace {

// Default score of `--faces auto`.
constexpr float kFaceThreshold = 0.75f;

std::string ParseRect(const std::string& text, common::Rect* rect) {
  char rest = 0;
  const bool is_right = std::sscanf(text.c_str(), "%6d,%6d,%6d,%6d%c", &rect->x, &rect->y, &rect->w,
                                    &rect->h, &rest) == 4 &&
                        rect->x >= 0 && rect->y >= 0 && rect->w > 0 && rect->h > 0;
  return is_right ? "" : text + " is not a rectangle such as 420,180,300,300";
}

}  // namespace

std::string PlainNumber(const std::string& text) {
  constexpr std::size_t kMostDigits = 30;
  const bool is_plain = text.find_first_not_of("0123456789.") == std::string::npos;
  return is_plain && text.size() <= kMostDigits ? "" : text + " is not a plain number such as 0.5";
}

std::string QuarterTurn(const std::string& text) {
  const bool is_one = text == "0" || text == "90" || text == "180" || text == "270";
  return is_one ? "" : text + " is none of 0, 90, 180, 270";
}

std::string Hexadecimal(const std::string& text) {
  const std::string digits = text.rfind("0x", 0) == 0 ? text.substr(2) : text;
  const bool is_one = !digits.empty() && digits.size() <= 8 &&
                      digits.find_first_not_of("0123456789abcdefABCDEF") == digits.npos;
  return is_one ? "" : text + " is no hexadecimal number of up to 8 digits";
}

std::string ParsePicture(const std::string& text, std::string* path) {
  *path = text == "none" ? "" : text;
  return text == "none" ? "" : common::PngName(text);
}

std::string ParseSize(const std::string& text, Size* size) {
  char rest = 0;
  if (std::sscanf(text.c_str(), "%6dx%6d%c", &size->width, &size->height, &rest) != 2) {
    return text + " is not a size such as 1280x720";
  }
  const common::Failure failure = common::CheckSize(size->width, size->height);
  return failure ? failure->message : "";
}

std::string ParseFace(const std::string& text, std::vector<common::Rect>* faces) {
  return ParseRect(text, &faces->emplace_back());
}

std::string ParseCrop(const std::string& text, Options* options) {
  options->chooses_crop = text == "auto";
  if (options->chooses_crop) return "";
  const common::Rect& crop = options->crop.emplace();
  const std::string wrong = ParseRect(text, &*options->crop);
  const bool is_even = (crop.x | crop.y | crop.w | crop.h) % 2 == 0;
  if (!wrong.empty() || (is_even && crop.w >= 16 && crop.h >= 16)) return wrong;
  return text + " has odd numbers, or fewer than 16 pixels a side";
}

std::string ParseFoundFaces(const std::string& text, std::optional<float>* found_faces) {
  float threshold = kFaceThreshold;
  char rest = 0;
  const bool is_right =
      text == "auto" || (text.rfind("auto:", 0) == 0 &&
                         std::sscanf(text.c_str(), "auto:%8f%c", &threshold, &rest) == 1);
  *found_faces = threshold;
  return is_right && threshold > 0 && threshold <= 1
             ? ""
             : text + " is neither auto nor a score such as auto:0.6";
}

std::string ParseModels(const std::string& text, bool* real_models) {
  *real_models = text == "real";
  const bool is_known = text == "real" || text == "fake" || text == "stand-in";
  return is_known ? "" : text + " is neither fake nor real";
}

std::string ParseLogLevel(const std::string& text, LogLevel* level) {
  const std::string names[] = {"none", "error", "info"};
  for (const LogLevel named : {LogLevel::kNone, LogLevel::kError, LogLevel::kInfo}) {
    *level = named;
    if (text == names[static_cast<int>(named)]) return "";
  }
  return text + " is not one of error, info, none";
}

}  // namespace camsim
