// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_DEVICE_CONTROLS_H_
#define ZY_CAMSIM_DEVICE_CONTROLS_H_

#include <vector>

#include "camsim/options.h"
#include "camsim/pass_watch.h"
#include "common/failure.h"
#include "framework/device.h"
#include "record/request_record.h"

namespace camsim {

// Returns the command line's settings of the device as the events of a recording, so that a replay
// repeats them.
std::vector<record::Event> DeviceEvents(const Options& options);

// Takes the settings that the command line gives out of an event.
void RemoveGiven(const Options& options, record::Event* event);

// Applies an event to the device's controls; `tries` only checks that they exist. Fails when a
// library lacks the control.
common::Failure ApplyEvent(const framework::Device& device, const record::Event& event, bool tries);

// Connects the model libraries that report their calls to `passes`.
void ReportCalls(const framework::Device& device, PassWatch* passes);

}  // namespace camsim

#endif  // ZY_CAMSIM_DEVICE_CONTROLS_H_
