#include "Foundation/NSError.h"

#include <functional>

NSError::NSError(std::string domain, NSInteger code, std::shared_ptr<const NSDictionary> userInfo)
    : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

std::shared_ptr<const NSError> NSError::errorWithDomain(
    std::string domain, NSInteger code, std::shared_ptr<const NSDictionary> userInfo) {
  return std::make_shared<const NSError>(std::move(domain), code, std::move(userInfo));
}

std::string NSError::localizedDescription() const {
  if (userInfo_) {
    NSAny described = userInfo_->objectForKey(NSLocalizedDescriptionKey);
    if (described.isString()) return described.stringValue();
  }
  return "The operation couldn\u2019t be completed. (" + domain_ + " error " +
         std::to_string(code_) + ".)";
}

bool NSError::isEqual(const NSObject& other) const {
  const auto* error = dynamic_cast<const NSError*>(&other);
  if (!error || error->domain_ != domain_ || error->code_ != code_) return false;
  bool mineEmpty = !userInfo_ || userInfo_->count() == 0;
  bool theirsEmpty = !error->userInfo_ || error->userInfo_->count() == 0;
  if (mineEmpty || theirsEmpty) return mineEmpty == theirsEmpty;
  return userInfo_->isEqual(*error->userInfo_);
}

std::size_t NSError::hash() const {
  return std::hash<std::string>{}(domain_) ^ static_cast<std::size_t>(code_);
}

std::string NSError::description() const {
  std::string text = "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" +
                     localizedDescription() + "\"";
  if (userInfo_ && userInfo_->count() > 0) text += " UserInfo=" + userInfo_->description();
  return text;
}
