#pragma once

// QueryExecution: where and for whom an executed query runs: the device, the app that executed
// it (whose permissions decide what the query sees) and the query's own serial worker queue.
// Immutable; shared by the query and the blocks queued for it.

#include <memory>
#include <string>

#include "Foundation/Dispatch.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "HealthKit/internal/DeviceState.h"

namespace platform::healthkit {

struct QueryExecution {
  std::shared_ptr<SimulatedHealthDevice> device;
  std::string reader;  // bundle identifier of the executing app
  dispatch_queue_t queue;

  DeviceState& state() const { return device->state(); }
};

}  // namespace platform::healthkit
