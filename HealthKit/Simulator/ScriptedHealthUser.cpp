#include "HealthKit/Simulator/ScriptedHealthUser.h"

namespace platform {

void ScriptedHealthUser::setAllowsByDefault(bool allow) {
  std::lock_guard<std::mutex> lock(mutex_);
  allowByDefault_ = allow;
}

void ScriptedHealthUser::setReadAllowed(const std::shared_ptr<const HKObjectType>& type,
                                        bool allow) {
  std::lock_guard<std::mutex> lock(mutex_);
  readAnswers_[type->identifier()] = allow;
}

void ScriptedHealthUser::setShareAllowed(const std::shared_ptr<const HKObjectType>& type,
                                         bool allow) {
  std::lock_guard<std::mutex> lock(mutex_);
  shareAnswers_[type->identifier()] = allow;
}

void ScriptedHealthUser::cancelNextPrompt() {
  std::lock_guard<std::mutex> lock(mutex_);
  nextPrompt_ = Prompt{PromptOutcome::kCancelled, nullptr};
}

void ScriptedHealthUser::failNextPrompt(std::shared_ptr<const NSError> error) {
  std::lock_guard<std::mutex> lock(mutex_);
  nextPrompt_ = Prompt{PromptOutcome::kFailed, std::move(error)};
}

std::size_t ScriptedHealthUser::promptCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return promptCount_;
}

ScriptedHealthUser::Prompt ScriptedHealthUser::showPrompt() {
  std::lock_guard<std::mutex> lock(mutex_);
  ++promptCount_;
  Prompt prompt = nextPrompt_.value_or(Prompt{});
  nextPrompt_.reset();
  return prompt;
}

bool ScriptedHealthUser::allowsReading(const HKObjectType& type) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = readAnswers_.find(type.identifier());
  return found == readAnswers_.end() ? allowByDefault_ : found->second;
}

bool ScriptedHealthUser::allowsSharing(const HKObjectType& type) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = shareAnswers_.find(type.identifier());
  return found == shareAnswers_.end() ? allowByDefault_ : found->second;
}

}  // namespace platform
