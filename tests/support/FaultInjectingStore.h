#pragma once

// FaultInjectingStore: an OSTStore that forwards to a real one and fails chosen operations, as
// a full disk or a lock held elsewhere would: the failing operation commits nothing and returns
// the error it was given. The control object is shared, so a test keeps its handle after the
// session has taken the store.
//
//   auto faults = std::make_shared<FaultInjectingStore::Faults>();
//   session.startSession("u", std::make_unique<FaultInjectingStore>(std::move(real), faults));
//   faults->failAddToOutbox = 1;   // the next submission fails

#include <atomic>
#include <memory>

#include "OstrandCore/OSTStore.h"

namespace testing_support {

class FaultInjectingStore final : public OSTStore {
 public:
  struct Faults {
    // How many of the next calls of each operation fail.
    std::atomic<int> failSave{0};
    std::atomic<int> failAddToOutbox{0};
  };

  FaultInjectingStore(std::unique_ptr<OSTStore> store, std::shared_ptr<Faults> faults)
      : store_(std::move(store)), faults_(std::move(faults)) {}

  std::string path() const override { return store_->path(); }
  [[nodiscard]] OSTStatus open() override { return store_->open(); }
  [[nodiscard]] OSTResult<OSTStoredSessionData> loadSessionData() override {
    return store_->loadSessionData();
  }
  [[nodiscard]] OSTStatus saveSessionData(OSTStoredSessionData data) override {
    if (take(faults_->failSave)) return fault("save session data in");
    return store_->saveSessionData(std::move(data));
  }
  [[nodiscard]] OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) override {
    if (take(faults_->failAddToOutbox)) return fault("add records to the outbox of");
    return store_->addToOutbox(rows);
  }
  [[nodiscard]] OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) override {
    return store_->outbox(limit);
  }
  [[nodiscard]] OSTStatus removeFromOutbox(const std::vector<std::int64_t>& identifiers) override {
    return store_->removeFromOutbox(identifiers);
  }

  // The message an injected fault carries.
  static std::string message(const std::string& action, const std::string& path) {
    return "cannot " + action + " the database at " + path + ": injected fault";
  }

 private:
  static bool take(std::atomic<int>& counter) {
    int left = counter.load();
    while (left > 0 && !counter.compare_exchange_weak(left, left - 1)) {
    }
    return left > 0;
  }
  OSTStatus fault(const std::string& action) const {
    return OSTCoreError(OSTCoreErrorStorageFailed, message(action, store_->path()));
  }

  std::unique_ptr<OSTStore> store_;
  std::shared_ptr<Faults> faults_;
};

}  // namespace testing_support
