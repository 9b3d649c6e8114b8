// SPDX-License-Identifier: Apache-2.0
#include "real_models/model_files.h"

#include <openssl/sha.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>

namespace real_models {
namespace {

// One line for each file: its digest, two spaces, its name.
constexpr std::string_view kSums =
#include "real_models/SHA256SUMS.inc"
    ;

std::string DigestOf(const std::string& bytes) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest);
  std::string text;
  for (const unsigned char byte : digest) {
    char two[3];
    std::snprintf(two, sizeof(two), "%02x", byte);
    text += two;
  }
  return text;
}

std::string Read(const std::string& folder, const std::string& name, std::string* content) {
  std::ifstream in(folder + name, std::ios::binary);
  content->assign(std::istreambuf_iterator<char>(in), {});
  if (content->empty()) return folder + name + ": is missing or empty";
  const std::string line = DigestOf(*content) + "  " + name + "\n";
  return kSums.find(line) != kSums.npos ? "" : folder + name + ": is not the file of SHA256SUMS";
}

}  // namespace

std::string ReadModelFiles(const std::string& folder, ModelFiles* files) {
  std::string error = Read(folder, "age_gender_model-weights_manifest.json", &files->manifest);
  if (error.empty()) error = Read(folder, "age_gender_model.bin", &files->weights);
  if (error.empty()) {
    error = Read(folder, "face_detection_back_256x256_barracuda.onnx", &files->finder);
  }
  return error;
}

}  // namespace real_models
