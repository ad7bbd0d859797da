#include "tools/OstrandTools/Bench/BenchWrites.h"

#include <mutex>
#include <string>

#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

void BenchWrites::add(const std::shared_ptr<HKHealthStore>& store,
                      std::shared_ptr<const HKObject> object) {
  for (auto& [writer, objects] : byStore_) {
    if (writer == store) {
      objects.push_back(std::move(object));
      return;
    }
  }
  byStore_.push_back({store, {std::move(object)}});
}

std::size_t BenchWrites::count() const {
  std::size_t total = 0;
  for (const auto& entry : byStore_) total += entry.second.size();
  return total;
}

bool BenchWrites::save(std::ostream& err) const {
  // Completions run on HealthKit's worker threads, several at once.
  struct Failures {
    std::mutex mutex;
    std::vector<std::string> messages;
  };
  auto failures = std::make_shared<Failures>();
  for (const auto& [store, objects] : byStore_) {
    store->saveObjects(objects, [failures](bool success, std::shared_ptr<const NSError> error) {
      if (success) return;
      std::lock_guard lock(failures->mutex);
      failures->messages.push_back(error ? error->localizedDescription() : "unknown error");
    });
  }
  SimulatedPhone::runUntilIdle();
  std::lock_guard lock(failures->mutex);
  for (const auto& message : failures->messages) {
    err << "error: HealthKit refused a save: " << message << "\n";
  }
  return failures->messages.empty();
}

}  // namespace ostrand_tools
