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

// Runs the operation that the options name. `mask` may be null. Fails when a picture is too small
// for the operation or a mask has another size.
common::Failure Apply(const Options& options, const media::Picture& input,
                      const media::Picture* mask, BeforeAndAfter* result);

// Returns both pictures under labels; a smaller second one is enlarged to the size of the first.
common::Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name,
                           media::Picture* both);

}  // namespace camkit

#endif  // ZY_CAMKIT_OPERATIONS_H_
