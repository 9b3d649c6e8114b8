// SPDX-License-Identifier: Apache-2.0
#include "camsim/header.h"

#include <string>

#include "common/version.h"

namespace camsim {
record::RunHeader HeaderOf(const Options& options, Size frame, Size buffer,
                           const framework::Device& device) {
  record::RunHeader header;
  header.program = std::string("camsim ") + common::kVersion;
  header.node = options.node;
  header.build_id = framework::BuildIdOf(options.node);
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
  header.fps = options.fps;
  header.models = options.real_models ? "real" : "fake";
  header.command = options.command;
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
