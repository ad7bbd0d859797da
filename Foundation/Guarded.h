#pragma once

// platform::Guarded<T>: a value and the mutex that guards it, side by side, the way the engine
// locks a shared container while HealthKit's threads append their results to it.
//
// Thread-safe. The value is reached only through withLock() (f runs with the lock held) or
// snapshot() (a copy taken under the lock). No code holds two such locks: a thread that calls
// withLock() or snapshot() on any Guarded while already inside withLock() gets
// std::logic_error, which rules out lock-order deadlocks and self-deadlock alike. References
// to the value must not leave f.
//
//   platform::Guarded<std::vector<Result>> results;
//   results.withLock([&](auto& list) { list.push_back(result); });   // from any thread
//   std::vector<Result> all = results.snapshot();

#include <mutex>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace platform {

namespace guarded_detail {
// Guarded locks the calling thread holds right now (0 or 1).
inline thread_local int locksHeld = 0;

class HeldLock {
 public:
  explicit HeldLock(std::mutex& mutex) {
    if (locksHeld != 0) {
      throw std::logic_error("Guarded: this thread already holds a Guarded lock");
    }
    lock_ = std::unique_lock(mutex);
    ++locksHeld;
  }
  ~HeldLock() { --locksHeld; }
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;

 private:
  std::unique_lock<std::mutex> lock_;
};
}  // namespace guarded_detail

template <typename T>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(T value) : value_(std::move(value)) {}
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  // Runs f(T&) with the lock held and returns what f returns (which may not be a reference).
  template <typename F>
  auto withLock(F&& f) -> std::invoke_result_t<F, T&> {
    static_assert(!std::is_reference_v<std::invoke_result_t<F, T&>>,
                  "a reference must not outlive the lock");
    guarded_detail::HeldLock lock(mutex_);
    return std::forward<F>(f)(value_);
  }

  // A copy of the value, taken under the lock.
  T snapshot() const {
    guarded_detail::HeldLock lock(mutex_);
    return value_;
  }

 private:
  mutable std::mutex mutex_;  // guards value_
  T value_{};
};

}  // namespace platform
