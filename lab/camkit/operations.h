// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMKIT_OPERATIONS_H_
#define ZY_CAMKIT_OPERATIONS_H_

#include "camkit/options.h"
#include "common/failure.h"
#include "media/picture.h"

namespace camkit {

struct BeforeAndAfter {
  media::Picture before;
  media::Picture after;
  double milliseconds = 0;  // of the kit's call
};

// Runs the operation that the options name. `mask` is null without one. A picture that is too small
// for the operation, or a mask of another size, is a failure.
common::Failure Apply(const Options& options, const media::Picture& input,
                      const media::Picture* mask, BeforeAndAfter* result);

// Both pictures, the second enlarged to the first one's size where it is smaller, under labels.
common::Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name,
                           media::Picture* both);

}  // namespace camkit

#endif  // ZY_CAMKIT_OPERATIONS_H_
