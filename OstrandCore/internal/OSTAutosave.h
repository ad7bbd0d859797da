#pragma once

// OSTAutosave: writes a running session's changed session data without being asked. OSTSession
// makes one per running session and tells it of every change of the session data; it then
// writes the data:
// - at the main queue's next turn after a change, so a change made on the main thread (where the
//   engine makes its changes) is written as soon as the block that made it has finished. From
//   the change until then it holds a UIKit background task of its own, so the application is not
//   suspended with the change unwritten; when background time runs out first, the task's
//   expiration handler writes it;
// - when the application enters the background (UIApplicationDidEnterBackgroundNotification).
// Several changes before a write are written together, once. A write that fails leaves the
// changes to the next occasion (a later change, an outbox commit, the next move to the
// background); it is not retried on its own.
//
// OSTSession's other writes of the session data (saveSessionData(), an outbox commit) take the
// changes over with takeChanges(), so nothing is written twice.
//
// Thread-safe. `write` is called with this object's lock held, so detach() waits for a write
// that is running; `write` must therefore not be called with a lock that detach()'s caller holds.

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "Foundation/NSObject.h"
#include "HealthKit/UIKit/UIApplication.h"

class OSTAutosave : public std::enable_shared_from_this<OSTAutosave> {
 public:
  // Writes the session data; true when it was written.
  using Write = std::function<bool()>;

  // A new autosave that observes the application's move to the background. `write` is called
  // on the main thread (or the thread that posts the notification) until detach().
  static std::shared_ptr<OSTAutosave> start(Write write);
  ~OSTAutosave();
  OSTAutosave(const OSTAutosave&) = delete;
  OSTAutosave& operator=(const OSTAutosave&) = delete;

  // The session data changed: a write is scheduled unless one is already.
  void changed();
  // Whether there are changes not written yet.
  bool hasChanges() const { return unwritten_; }
  // Whether there were changes not written yet; there are none afterwards. For a caller about to
  // write the session data itself.
  bool takeChanges();
  // The caller's write failed: the changes it took are not written after all.
  void keepChanges();

  // Writes the changes now, if there are any (what the scheduled block, the expiration handler
  // and the notification call).
  void writeNow();

  // No write runs after this returns (a running one is waited for); the background task ends and
  // the notification is no longer observed. Blocks still queued do nothing.
  void detach();

 private:
  explicit OSTAutosave(Write write) : write_(std::move(write)) {}

  std::atomic<bool> unwritten_{false};
  std::mutex mutex_;  // guards every field below; held during a write
  Write write_;       // empty once detached
  bool scheduled_ = false;
  UIBackgroundTaskIdentifier task_ = UIBackgroundTaskInvalid;
  std::shared_ptr<const NSObject> observer_;
};
