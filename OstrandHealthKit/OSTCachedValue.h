#pragma once

// OSTCachedValue<T>: a value built on first use and then kept for the life of the process: the
// catalog's type lists, the unit table and the records' key-path tables. The first build is
// safe against several threads asking at once (exactly one builds, the others wait and share
// its result), and a built value never changes afterwards.
//
// What a table holds can depend on the running platform (entries that exist only from iOS 11.0
// on), and a cache freezes what it saw when it was built. A test that needs another platform
// version therefore calls OSTResetCachedValuesForTesting() after pinning the version: it empties
// every cache of the process, so the next use builds anew. Nothing but tests may call it, and
// only while no other thread uses the library.
//
// Thread-safe. Instances are meant to be function-local statics; each registers itself so the
// reset above reaches it, and none is ever destroyed (threads may use the tables at exit).
//
//   static auto* const cache = new OSTCachedValue<std::vector<int>>();
//   return cache->get([] { return std::vector<int>{1, 2, 3}; });

#include <functional>
#include <memory>
#include <mutex>

// Empties every OSTCachedValue of the process. Test-only; see above.
void OSTResetCachedValuesForTesting();

namespace ost_detail {
// Adds a reset action to the process-wide list that OSTResetCachedValuesForTesting() runs.
void registerCachedValueReset(std::function<void()> reset);
}  // namespace ost_detail

template <class T>
class OSTCachedValue {
 public:
  OSTCachedValue() {
    ost_detail::registerCachedValueReset([this] {
      std::lock_guard lock(mutex_);
      value_.reset();
    });
  }
  OSTCachedValue(const OSTCachedValue&) = delete;
  OSTCachedValue& operator=(const OSTCachedValue&) = delete;

  // The value, built with `build` (returning a T) if it does not exist yet.
  template <class Build>
  std::shared_ptr<const T> get(Build&& build) {
    std::lock_guard lock(mutex_);
    if (!value_) value_ = std::make_shared<const T>(build());
    return value_;
  }

 private:
  std::mutex mutex_;  // guards value_
  std::shared_ptr<const T> value_;
};
