#include "Foundation/Platform/DispatchRuntime.h"

#include "Foundation/internal/DispatchScheduler.h"

namespace platform {

DispatchRuntime& DispatchRuntime::shared() {
  static DispatchRuntime runtime;
  return runtime;
}

std::size_t DispatchRuntime::drainMainQueue() {
  return internal::DispatchScheduler::shared().drainMainQueue();
}

void DispatchRuntime::runUntilIdle() { internal::DispatchScheduler::shared().runUntilIdle(); }

void DispatchRuntime::waitForWorkers() { internal::DispatchScheduler::shared().waitForWorkers(); }

}  // namespace platform
