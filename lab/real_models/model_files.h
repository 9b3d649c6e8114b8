// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_REAL_MODELS_MODEL_FILES_H_
#define ZY_REAL_MODELS_MODEL_FILES_H_

#include <string>

namespace real_models {

// The contents of the networks' files.
struct ModelFiles {
  std::string manifest, weights;  // of the network for age and gender
  std::string finder;
};

// Reads the files from a folder and compares their digests with those of SHA256SUMS. Returns the
// error, beginning with the file's path, or "". Any thread.
std::string ReadModelFiles(const std::string& folder, ModelFiles* files);

}  // namespace real_models

#endif  // ZY_REAL_MODELS_MODEL_FILES_H_
