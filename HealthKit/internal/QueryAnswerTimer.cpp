#include "HealthKit/internal/QueryAnswerTimer.h"

#include <time.h>

#include "HealthKit/internal/DeviceState.h"

namespace platform::healthkit {

QueryAnswerTimer::QueryAnswerTimer(DeviceState& state) : state_(state), start_(threadCPUTime()) {}

QueryAnswerTimer::~QueryAnswerTimer() { state_.addQueryAnswerTime(threadCPUTime() - start_); }

std::chrono::nanoseconds QueryAnswerTimer::threadCPUTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace platform::healthkit
