// SPDX-License-Identifier: Apache-2.0
// The values of camsim's options. Each function takes a text and returns the reason for refusing
// it, or "". The parsers assign their result in any case. Any thread.
#ifndef ZY_CAMSIM_OPTION_VALUES_H_
#define ZY_CAMSIM_OPTION_VALUES_H_

#include <optional>
#include <string>
#include <vector>

#include "camsim/options.h"
#include "common/geometry.h"

namespace camsim {

// Accepts digits and a point: a range alone accepts NaN and infinity.
std::string PlainNumber(const std::string& text);
// Accepts 0, 90, 180 and 270.
std::string QuarterTurn(const std::string& text);
// Accepts up to 8 hexadecimal digits, with or without 0x.
std::string Hexadecimal(const std::string& text);

// Parses a name for a PNG; "none" becomes the empty name.
std::string ParsePicture(const std::string& text, std::string* path);
// Parses a usable size such as 1280x720.
std::string ParseSize(const std::string& text, Size* size);
// Parses a rectangle such as 420,180,300,300 and adds it.
std::string ParseFace(const std::string& text, std::vector<common::Rect>* faces);
// Parses "auto" or an even rectangle of at least 16x16.
std::string ParseCrop(const std::string& text, Options* options);
// Parses "auto", with a score after a colon, above 0 and at most 1.
std::string ParseFoundFaces(const std::string& text, std::optional<float>* found_faces);
// Parses "real" or "fake", also by its older name "stand-in".
std::string ParseModels(const std::string& text, bool* real_models);
// Parses "error", "info" or "none".
std::string ParseLogLevel(const std::string& text, LogLevel* level);

}  // namespace camsim

#endif  // ZY_CAMSIM_OPTION_VALUES_H_
