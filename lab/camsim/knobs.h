// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_KNOBS_H_
#define ZY_CAMSIM_KNOBS_H_

#include <vector>

#include "camsim/options.h"
#include "camsim/pass_watch.h"
#include "common/failure.h"
#include "framework/device.h"
#include "record/request_record.h"

namespace camsim {

// What the command line does to the device, as the events of a recording, so that a replay does it
// again.
std::vector<record::Event> DeviceEvents(const Options& options);

// Takes the settings that the command line gives out of an event.
void RemoveGiven(const Options& options, record::Event* event);

// Does what an event asks of the device, or, to try, only looks whether it can be done. Fails when
// a library lacks the knob.
common::Failure SetKnobs(const framework::Device& device, const record::Event& event, bool tries);

// Lets the model libraries that can tell `passes` of their calls.
void TellCalls(const framework::Device& device, PassWatch* passes);

}  // namespace camsim

#endif  // ZY_CAMSIM_KNOBS_H_
