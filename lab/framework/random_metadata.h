// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_FRAMEWORK_RANDOM_METADATA_H_
#define ZY_FRAMEWORK_RANDOM_METADATA_H_

#include <random>

#include "framework/framework.h"

namespace framework {

// Sets random metadata, also invalid: tags present or not, faces in or out of the frame, any number
// of words. In half of the requests the node is the main camera's.
void SetRandomMetadata(std::mt19937* random, Metadata* metadata);

}  // namespace framework

#endif  // ZY_FRAMEWORK_RANDOM_METADATA_H_
