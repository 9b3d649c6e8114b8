// SPDX-License-Identifier: Apache-2.0
// camkit: runs the image and sharpening kits on a picture.
#include <cstdio>
#include <string>

#include "camkit/operations.h"
#include "camkit/options.h"
#include "common/failure.h"
#include "common/program.h"
#include "common/replaced_file.h"
#include "media/picture.h"

namespace camkit {
namespace {

common::Failure KeepInputs(const Options& options) {
  for (const std::string& input : {options.input, options.mask}) {
    if (!common::IsInput(options.output, input)) continue;
    return common::Fail(options.output + ": is also an input");
  }
  return std::nullopt;
}

common::Failure Read(const Options& options, media::Picture* input, media::Picture* mask) {
  common::Failure failure = media::ReadPicture(options.input, input);
  if (!failure && !options.mask.empty()) failure = media::ReadPicture(options.mask, mask);
  return failure;
}

int Run(const Options& options) {
  media::Picture input, mask;
  if (common::Failure failure = Read(options, &input, &mask)) {
    return common::Say("camkit", failure->message, common::kExitUnreadableInput);
  }
  BeforeAndAfter result;
  common::ReplacedFile output;
  common::Failure failure = KeepInputs(options);
  if (!failure) failure = output.Create(options.output);
  if (!failure) {
    failure = Apply(options, input, options.mask.empty() ? nullptr : &mask, &result);
  }
  media::Picture both;
  if (!failure && options.compare) failure = SideBySide(result, options.name, &both);
  if (!failure) failure = media::WritePng(options.compare ? both : result.after, &output);
  if (!failure) failure = output.Complete();
  if (failure) return common::Say("camkit", failure->message, common::kExitFailure);
  // Standard output may carry the picture.
  std::fprintf(stderr, "%s: %dx%d in %.3f ms\n", options.name.c_str(), input.width, input.height,
               result.milliseconds);
  return common::kExitOk;
}

}  // namespace
}  // namespace camkit

int main(int argc, char** argv) {
  camkit::Options options;
  int exit_code = common::kExitOk;
  if (!camkit::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return common::RunWithinMemory("camkit", [&] { return camkit::Run(options); });
}
