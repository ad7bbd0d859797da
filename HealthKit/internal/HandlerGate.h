#pragma once

// HandlerGate: what makes stopping a query final.
//
// Every handler of a query runs through its gate. close() (called by stopQuery) shuts the gate;
// once close() has returned no handler of the query starts or is still running, on any thread:
// a handler that was already dispatched to a worker checks the gate under the same lock that
// close() takes, and close() waits for handlers that are running on other threads to finish.
// A handler may stop its own query: close() called from inside a handler does not wait for that
// handler (it is the caller), so it cannot deadlock on itself. Two handlers of different queries
// that stop each other at the same moment would wait for each other; queries here never do.
//
// Thread-safe. Owned by the query it guards.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace platform::healthkit {

class HandlerGate {
 public:
  // Runs `handler` on the calling thread unless the gate is closed. Returns whether it ran.
  bool run(const std::function<void()>& handler);

  // Shuts the gate and waits for handlers running on other threads. Closing twice is harmless.
  void close();

  bool isClosed() const;

 private:
  mutable std::mutex mutex_;  // guards closed_ and running_
  std::condition_variable finished_;
  bool closed_ = false;
  std::vector<std::thread::id> running_;  // one entry per handler running now
};

}  // namespace platform::healthkit
