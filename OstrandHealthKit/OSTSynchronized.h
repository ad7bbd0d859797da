#pragma once

// OSTSynchronized<T>: a container and the mutex that guards it, side by side. Fetches that fan
// out over several HealthKit queries gather the answers, which arrive on HealthKit's threads at
// the same time, in one of these (one per container, so one lock per container).
//
// Thread-safe. The value is reached only under the lock: withLock() runs a function on it,
// copy() returns a snapshot. No code holds two of these locks at once: the functions passed to
// withLock() touch only their own container. Hold it by std::shared_ptr and capture it in the
// handlers that fill it.
//
//   auto samples = std::make_shared<OSTSynchronized<std::vector<Sample>>>();
//   samples->withLock([&](auto& list) { list.insert(list.end(), more.begin(), more.end()); });
//   const auto all = samples->copy();

#include <mutex>
#include <type_traits>
#include <utility>

template <class T>
class OSTSynchronized {
 public:
  // Runs f(T&) with the lock held and returns what it returns (a value, never a reference into
  // the container).
  template <class F>
  auto withLock(F&& f) -> std::invoke_result_t<F, T&> {
    static_assert(!std::is_reference_v<std::invoke_result_t<F, T&>>,
                  "a reference must not outlive the lock");
    std::lock_guard lock(mutex_);
    return std::forward<F>(f)(value_);
  }

  // A copy taken under the lock.
  T copy() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

 private:
  mutable std::mutex mutex_;  // guards value_
  T value_{};
};
