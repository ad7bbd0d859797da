#include "HealthKit/internal/HandlerGate.h"

#include <algorithm>

namespace platform::healthkit {

bool HandlerGate::run(const std::function<void()>& handler) {
  const std::thread::id self = std::this_thread::get_id();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) return false;
    running_.push_back(self);
  }
  struct Leave {
    HandlerGate& gate;
    std::thread::id self;
    ~Leave() {
      std::lock_guard<std::mutex> lock(gate.mutex_);
      gate.running_.erase(std::find(gate.running_.begin(), gate.running_.end(), self));
      gate.finished_.notify_all();
    }
  } leave{*this, self};
  if (handler) handler();
  return true;
}

void HandlerGate::close() {
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock<std::mutex> lock(mutex_);
  closed_ = true;
  finished_.wait(lock, [&] {
    return std::all_of(running_.begin(), running_.end(),
                       [&](std::thread::id id) { return id == self; });
  });
}

bool HandlerGate::isClosed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return closed_;
}

}  // namespace platform::healthkit
