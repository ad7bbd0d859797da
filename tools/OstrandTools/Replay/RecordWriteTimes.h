#pragma once

// RecordWriteTimes: a store that passes everything to the session's real store and notes, for
// every record with an activity identifier, the clock's moment of its last write to the outbox.
// The replay puts it under the app's session, so that a day record can be told apart from the
// objects that reached HealthKit after it was last written (OutboxMisses).
//
// Called by OSTSession like any store (one thread at a time); read `moments` on the main thread
// between the replay's steps.

#include <memory>
#include <string>
#include <unordered_map>

#include "Foundation/NSDate.h"
#include "OstrandCore/OSTStore.h"

namespace ostrand_tools {

using RecordWriteMoments = std::unordered_map<std::string, NSDate>;  // by activity identifier

class RecordWriteTimes final : public OSTStore {
 public:
  RecordWriteTimes(std::unique_ptr<OSTStore> store, std::shared_ptr<RecordWriteMoments> moments)
      : store_(std::move(store)), moments_(std::move(moments)) {}

  std::string path() const override { return store_->path(); }
  OSTStatus open() override { return store_->open(); }
  OSTResult<OSTStoredSessionData> loadSessionData() override { return store_->loadSessionData(); }
  OSTStatus saveSessionData(OSTStoredSessionData data) override {
    return store_->saveSessionData(std::move(data));
  }
  OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) override;
  OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) override {
    return store_->outbox(limit);
  }
  OSTStatus removeFromOutbox(const std::vector<std::int64_t>& identifiers) override {
    return store_->removeFromOutbox(identifiers);
  }

 private:
  std::unique_ptr<OSTStore> store_;
  std::shared_ptr<RecordWriteMoments> moments_;
};

}  // namespace ostrand_tools
