#pragma once

// platform::ScriptedHealthUser: the person who answers the host app's HealthKit permission
// prompt on a simulated device. A test (or the demo) scripts the answers before the app asks.
//
// By default the user allows everything asked. A test may deny reading or sharing per type, deny
// everything, cancel the next prompt, or make the next request fail with an error. The prompt
// asks only about types not decided before; a decision, once made, stays (until the device's
// settings are changed through SimulatedHealthDevice::setAuthorization).
//
// Thread-safe. Owned by its SimulatedHealthDevice.
//
//   device->user().setReadAllowed(heartRate, false);   // the app will see no heart rate
//   device->user().cancelNextPrompt();

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Foundation/NSError.h"
#include "HealthKit/HKObjectType.h"

namespace platform {

class ScriptedHealthUser {
 public:
  // How the next prompt ends.
  enum class PromptOutcome {
    kAnswered,   // the user answers per type: success
    kCancelled,  // the user dismisses the prompt: no success, HKErrorUserCanceled, nothing decided
    kFailed,     // the request fails with the scripted error: nothing decided
  };

  // The answer for types without a decision of their own (true: allow, the default).
  void setAllowsByDefault(bool allow);
  void setReadAllowed(const std::shared_ptr<const HKObjectType>& type, bool allow);
  void setShareAllowed(const std::shared_ptr<const HKObjectType>& type, bool allow);

  // The next prompt only; later ones are answered again.
  void cancelNextPrompt();
  void failNextPrompt(std::shared_ptr<const NSError> error);

  // How many prompts the user saw.
  std::size_t promptCount() const;

  // --- For the device ---

  struct Prompt {
    PromptOutcome outcome = PromptOutcome::kAnswered;
    std::shared_ptr<const NSError> error;  // when failed
  };
  // Shows a prompt: counts it and consumes the scripted outcome.
  Prompt showPrompt();
  bool allowsReading(const HKObjectType& type) const;
  bool allowsSharing(const HKObjectType& type) const;

 private:
  mutable std::mutex mutex_;  // guards every field below
  bool allowByDefault_ = true;
  std::map<std::string, bool> readAnswers_;   // by type identifier
  std::map<std::string, bool> shareAnswers_;  // by type identifier
  std::optional<Prompt> nextPrompt_;
  std::size_t promptCount_ = 0;
};

}  // namespace platform
