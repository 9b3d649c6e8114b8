// SPDX-License-Identifier: Apache-2.0
// Runs camsim with the input as a script, with all outputs, then replays the recording of that run,
// which must give no difference.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "camsim/run.h"
#include "common/interrupts.h"
#include "common/program.h"
#include "device/control.h"
#include "framework/node_watch.h"
#include "record/recording_file.h"
#include "tests/fuzz/script.h"

namespace {

// A file in memory, which has a path.
struct MemoryFile {
  MemoryFile() : descriptor(memfd_create("fuzz_run", 0)) {}
  ~MemoryFile() { close(descriptor); }
  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

  const int descriptor;
};

// Runs camsim on a device without settings of an earlier run: all runs of a process share it.
int RunCamsim(const camsim::Options& options, const record::RecordingFile& script) {
  device::ClearProperties();
  zy_fail_age_gender_inits(0);
  return camsim::Run(options, script).Go();
}

camsim::Options MakeOptions(uint8_t flags) {
  const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  camsim::Options options;
  options.node = folder + "/com.qti.node.brodaxgenderage.so";
  fuzz::Require(std::filesystem::exists(options.node), "the node is built");
  options.devices = {folder + "/device"};
  options.source.width = 64 + (flags >> 1 & 1);
  options.source.height = 48 + (flags >> 2 & 1);
  options.upright = flags & 1;
  options.requests = 16;
  options.differences = 0;
  options.annotated.clear();
  return options;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script input(bytes, size);
  const uint8_t flags = input.Byte();
  camsim::Options options = MakeOptions(flags);
  const std::vector<uint8_t> text = input.Rest();
  const std::string_view view(reinterpret_cast<const char*>(text.data()), text.size());
  if (view.find("model_delay_ms") != view.npos) return 0;  // it would only wait
  [[maybe_unused]] static const int null = dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  const MemoryFile script, recording;
  fuzz::Require(
      write(script.descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
      "memory is there");
  options.script = script.Path();
  options.jsonl = recording.Path();
  options.annotated = options.annotated_clip = options.trace = options.report = "/dev/null";
  const framework::NodeWatch watch({"fuzz_run", std::chrono::seconds(60), &common::g_interrupted});
  {
    record::RecordingFile file;
    if (file.Open(options.script)) return 0;
    if (RunCamsim(options, file) != common::kExitOk) return 0;
  }
  record::RecordingFile recorded;
  fuzz::Require(!recorded.Open(recording.Path()), "a written recording can be read");
  options = MakeOptions(flags);
  options.replay = recording.Path();
  fuzz::Require(RunCamsim(options, recorded) == common::kExitOk, "a replay is the same");
  return 0;
}
