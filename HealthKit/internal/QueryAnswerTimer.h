#pragma once

// QueryAnswerTimer: adds the CPU time a query spends answering (reading and filtering the
// database, sorting, computing statistics) to its device's total, so that a benchmark can tell
// what HealthKit itself spends from what the app spends. It counts the calling thread's CPU time
// from construction to destruction: waiting for a lock or for a core is not counted, and neither
// are the app's handlers, which the queries call after the timer has ended.
//
// Made and ended on one thread (the query's worker).
//
//   {
//     QueryAnswerTimer timer(execution.state());
//     samples = execution.state().database().objects(type, bounds, filter);
//   }
//   handler(samples);

#include <chrono>

namespace platform::healthkit {

class DeviceState;

class QueryAnswerTimer {
 public:
  explicit QueryAnswerTimer(DeviceState& state);
  ~QueryAnswerTimer();
  QueryAnswerTimer(const QueryAnswerTimer&) = delete;
  QueryAnswerTimer& operator=(const QueryAnswerTimer&) = delete;

 private:
  static std::chrono::nanoseconds threadCPUTime();

  DeviceState& state_;
  const std::chrono::nanoseconds start_;
};

}  // namespace platform::healthkit
