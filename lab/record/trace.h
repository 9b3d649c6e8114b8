// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_TRACE_H_
#define ZY_RECORD_TRACE_H_

#include <cstdio>
#include <memory>

#include "record/run_listener.h"

namespace record {

// Writes a run over time, as events for a trace viewer. The file stays the caller's.
std::unique_ptr<RunListener> MakeTrace(std::FILE* to);

}  // namespace record

#endif  // ZY_RECORD_TRACE_H_
