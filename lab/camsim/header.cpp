// SPDX-License-Identifier: Apache-2.0
#include "camsim/header.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "common/version.h"
#include "media/byte_reader.h"

namespace camsim {
namespace {

// The identifier that the linker gave a library; it stands among the first bytes of the file.
std::string BuildIdOf(const std::string& path) {
  std::unique_ptr<media::ByteReader> reader;
  if (media::OpenFile(path, &reader)) return "";
  std::vector<uint8_t> bytes(4096);
  bytes.resize(reader->Read(bytes.data(), bytes.size()));
  constexpr uint8_t kNote[] = {4, 0, 0, 0, 20, 0, 0, 0, 3, 0, 0, 0, 'G', 'N', 'U', 0};
  auto at = std::search(bytes.begin(), bytes.end(), std::begin(kNote), std::end(kNote));
  if (bytes.end() - at < 36) return "";
  std::string text;
  for (at += 16; text.size() < 40; ++at) {
    text += "0123456789abcdef"[*at >> 4];
    text += "0123456789abcdef"[*at & 15];
  }
  return text;
}

}  // namespace

framework::Json HeaderOf(const Options& options, Size frame, const framework::Device& device) {
  framework::Json header;
  header["recording"] = framework::kRecordingVersion;
  header["program"] = std::string("camsim ") + common::kVersion;
  header["node"] = options.node;
  header["build_id"] = BuildIdOf(options.node);
  header["device"] = framework::Json::object();
  for (const auto& library : device.Libraries()) header["device"][library.name] = library.path;
  header["input"] = options.source.input;
  header["size"] = {frame.width, frame.height};
  header["raw"] = !options.source.input.empty() && options.source.width != 0;
  header["stride"] = options.source.stride;
  header["upright"] = options.IsUpright();
  header["buffer"] = {options.buffer.width, options.buffer.height};
  header["node_caps"] = options.node_caps;
  header["realtime"] = options.realtime;
  return header;
}

void UseHeader(const framework::Json& header, Options* options) {
  if (header.is_null()) return;
  if (!options->upright && header.contains("upright")) options->upright = header["upright"];
  if (!options->source.input.empty()) return;
  media::FrameSourceOptions& source = options->source;
  source.input = header.value("input", "");
  const framework::Json size = header.value("size", framework::Json());
  const bool has_size = source.input.empty() || header.value("raw", false);
  if (source.width == 0 && has_size && !size.is_null()) {
    source.width = size[0];
    source.height = size[1];
  }
  if (source.stride == 0) source.stride = header.value("stride", 0);
  const framework::Json buffer = header.value("buffer", framework::Json());
  if (options->buffer.width == 0 && !buffer.is_null()) options->buffer = {buffer[0], buffer[1]};
  if (options->node_caps == 0) options->node_caps = header.value("node_caps", 0U);
}

}  // namespace camsim
