// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMKIT_OPERATIONS_H_
#define ZY_APPS_CAMKIT_OPERATIONS_H_

#include "camkit/options.h"
#include "media/error.h"
#include "media/picture.h"

namespace camkit {

struct BeforeAndAfter {
  pictures::Picture before;
  pictures::Picture after;
  double milliseconds = 0;  // of the kit's call
};

// Runs the operation that the options name. `mask` is null without one. A picture that is too small
// for the operation, or a mask of another size, is a failure.
pictures::Failure Apply(const Options& options, const pictures::Picture& input,
                        const pictures::Picture* mask, BeforeAndAfter* result);

// Both pictures, the second enlarged to the first one's size where it is smaller, under labels.
pictures::Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name,
                             pictures::Picture* both);

}  // namespace camkit

#endif  // ZY_APPS_CAMKIT_OPERATIONS_H_
