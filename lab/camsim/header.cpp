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

record::RunHeader HeaderOf(const Options& options, Size frame, Size buffer,
                           const framework::Device& device) {
  record::RunHeader header;
  header.program = std::string("camsim ") + common::kVersion;
  header.node = options.node;
  header.build_id = BuildIdOf(options.node);
  for (const auto& library : device.Libraries()) {
    header.device.emplace_back(library.name, library.path);
  }
  header.input = options.source.input;
  header.size = frame;
  header.raw = !options.source.input.empty() && options.source.width != 0;
  header.stride = options.source.stride;
  header.upright = options.IsUpright();
  header.buffer = buffer;
  header.node_caps = options.node_caps;
  header.realtime = options.realtime;
  return header;
}

void UseHeader(const record::RunHeader& header, Options* options) {
  if (!options->upright) options->upright = header.upright;
  media::FrameSourceOptions& source = options->source;
  if (!source.input.empty()) return;
  source.input = header.input;
  if (source.width == 0 && (source.input.empty() || header.raw)) {
    source.width = header.size.width;
    source.height = header.size.height;
  }
  if (source.stride == 0) source.stride = header.stride;
  if (options->buffer.width == 0) options->buffer = header.buffer;
  if (options->node_caps == 0) options->node_caps = header.node_caps;
}

}  // namespace camsim
