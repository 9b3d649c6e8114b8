// SPDX-License-Identifier: Apache-2.0
#include "media/y4m.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "common/geometry.h"

namespace media {
namespace {

common::Failure ReadLine(ByteReader& reader, const std::string& what, std::string* line) {
  line->clear();
  for (uint8_t byte = 0; reader.Read(&byte, 1) == 1;) {
    if (byte == '\n') return std::nullopt;
    if (line->size() == kMaxY4mLine) return common::Fail(what + " is too long");
    line->push_back(static_cast<char>(byte));
  }
  if (common::Failure failure = reader.ReadFailure()) return failure;
  return common::Fail(what + " is cut short");
}

std::string_view NextToken(std::string_view* rest) {
  const std::string_view token = rest->substr(0, rest->find(' '));
  rest->remove_prefix(std::min(rest->size(), token.size() + 1));
  return token;
}

std::optional<int> ParseNumber(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || text[0] == '-') return std::nullopt;
  return number;
}

bool IsRatio(std::string_view text) {
  const std::size_t colon = text.find(':');
  return colon != std::string_view::npos && ParseNumber(text.substr(0, colon)) &&
         ParseNumber(text.substr(colon + 1));
}

std::optional<ChromaLayout> ParseLayout(std::string_view text) {
  if (text == "420" || text == "420jpeg" || text == "420mpeg2" || text == "420paldv") {
    return ChromaLayout::k420;
  }
  if (text == "422") return ChromaLayout::k422;
  if (text == "444") return ChromaLayout::k444;
  if (text == "mono") return ChromaLayout::kMono;
  return std::nullopt;
}

// The tags that may appear once in a header.
struct Tags {
  std::optional<int> width;
  std::optional<int> height;
  std::optional<ChromaLayout> layout;
  ColourRange range = ColourRange::kLimited;
  std::string rate = Y4mHeader().rate;
};

template <typename T>
bool SetOnce(std::optional<T>* tag, std::optional<T> value) {
  if (*tag || !value) return false;
  *tag = value;
  return true;
}

bool TakeTag(std::string_view tag, Tags* tags) {
  const std::string_view value = tag.substr(1);
  switch (tag[0]) {
    case 'W':
      return SetOnce(&tags->width, ParseNumber(value));
    case 'H':
      return SetOnce(&tags->height, ParseNumber(value));
    case 'C':
      return SetOnce(&tags->layout, ParseLayout(value));
    case 'F':
      if (value != "0:0") tags->rate = value;  // 0:0 means unknown
      return IsRatio(value);
    case 'A':
      return IsRatio(value);
    case 'X':
      if (value == "COLORRANGE=FULL") tags->range = ColourRange::kFull;
      return true;
    case 'I':
      return true;
    default:
      return false;
  }
}

}  // namespace

common::Failure ReadY4mHeader(ByteReader& reader, Y4mHeader* header) {
  std::string line;
  if (common::Failure failure = ReadLine(reader, "Y4M header", &line)) return failure;
  std::string_view rest = line;
  if (NextToken(&rest) != kY4mSignature) return common::Fail("no Y4M header");
  Tags tags;
  while (!rest.empty()) {
    const std::string_view tag = NextToken(&rest);
    if (!tag.empty() && !TakeTag(tag, &tags)) {
      return common::Fail("Y4M header: bad, repeated or unsupported tag '" +
                          std::string(tag.substr(0, 32)) + "'");
    }
  }
  if (!tags.width || !tags.height) return common::Fail("Y4M header: width or height is missing");
  if (common::Failure failure = common::CheckSize(*tags.width, *tags.height)) return failure;
  *header = {*tags.width, *tags.height, tags.layout.value_or(ChromaLayout::k420), tags.range,
             tags.rate};
  return std::nullopt;
}

common::Failure ReadY4mFrameHeader(ByteReader& reader, const std::string& frame) {
  std::string line;
  if (common::Failure failure = ReadLine(reader, "header of " + frame, &line)) return failure;
  std::string_view rest = line;
  if (NextToken(&rest) != "FRAME") return common::Fail(frame + " does not begin with FRAME");
  return std::nullopt;
}

void WriteY4mHeader(int width, int height, const std::string& rate, std::FILE* to) {
  std::fprintf(to, "YUV4MPEG2 W%d H%d F%s Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n", width, height,
               rate.c_str());
}

void WriteY4mFrame(const Nv12Frame& frame, std::FILE* to) {
  std::fputs("FRAME\n", to);
  for (int y = 0; y < frame.height; ++y) {
    std::fwrite(frame.Luma() + std::ptrdiff_t{y} * frame.stride, 1,
                static_cast<std::size_t>(frame.width), to);
  }
  std::vector<uint8_t> row(static_cast<std::size_t>(common::HalfUp(frame.width)));
  for (int member = 0; member < 2; ++member) {
    for (int y = 0; y < common::HalfUp(frame.height); ++y) {
      const uint8_t* const pairs = frame.Chroma() + std::ptrdiff_t{y} * frame.stride + member;
      for (std::size_t x = 0; x < row.size(); ++x) row[x] = pairs[2 * x];
      std::fwrite(row.data(), 1, row.size(), to);
    }
  }
}

}  // namespace media
