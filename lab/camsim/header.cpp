// SPDX-License-Identifier: Apache-2.0
#include "camsim/header.h"

#include <string>
#include <utility>

#include "common/geometry.h"
#include "common/program.h"

namespace camsim {
record::RunHeader HeaderOf(const Options& options, const Frames& frames, Size buffer,
                           const framework::Device& device) {
  record::RunHeader header;
  header.program = std::string("camsim ") + common::kVersion;
  header.node = options.node;
  header.build_id = framework::BuildIdOf(options.node);
  for (const auto& library : device.Libraries()) {
    header.device.emplace_back(library.name, library.path);
  }
  header.input = options.source.input;
  header.size = {frames.Source().Width(), frames.Source().Height()};
  header.crop = frames.Crop();
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

std::vector<std::string> NoticesOf(const Options& options) {
  const auto number = [](const auto& given) {
    return given ? std::to_string(static_cast<int>(*given)) : std::string();
  };
  const Size sensor = options.sensor;
  const std::pair<const char*, std::string> settings[] = {
      {"orientation", number(options.orientation)},
      {"sensor", sensor.width == 0 ? "" : common::SizeText(sensor.width, sensor.height)},
      {"quad-cfa", number(options.quad_cfa)},
      {"role", number(options.role)},
      {"camera", number(options.camera)},
      {"gender-age", number(options.gender_and_age)},
      {"score", number(options.score)},
      {"zynode-conf", options.zynode_conf},
      {"operation-mask", options.operation_mask},
      {"model-delay", number(options.model_delay_ms)},
      {"failing-inits", number(options.failing_inits)}};
  std::vector<std::string> notices;
  for (const auto& [name, value] : settings) {
    if (value.empty() || options.ScriptPath().empty()) continue;
    notices.push_back(name + (" " + value) +
                      (options.IsReplay() ? " instead of the recorded values"
                                          : " until a line of the script changes it"));
  }
  return notices;
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
  if (!options->crop && !options->chooses_crop) options->crop = header.crop;
  if (options->buffer.width == 0) options->buffer = header.buffer;
  if (options->node_caps == 0) options->node_caps = header.node_caps;
}

}  // namespace camsim
