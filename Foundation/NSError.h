#pragma once

// NSError: an error the library reports, as a value: a domain, a code and a user-info dictionary
// that may carry a localized description for people.
//
// Immutable and thread-safe; held by std::shared_ptr, a missing error is nullptr.
//
//   auto error = NSError::errorWithDomain("com.ostrand.healthkit", 3,
//       NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, "No access"}}));
//   error->localizedDescription();  // "No access"

#include <memory>
#include <string>

#include "Foundation/NSDictionary.h"
#include "Foundation/NSObjCRuntime.h"
#include "Foundation/NSObject.h"

// The user-info key of the description shown to people.
inline constexpr char NSLocalizedDescriptionKey[] = "NSLocalizedDescription";

class NSError : public NSObject {
 public:
  NSError(std::string domain, NSInteger code, std::shared_ptr<const NSDictionary> userInfo);

  // userInfo may be nullptr.
  static std::shared_ptr<const NSError> errorWithDomain(
      std::string domain, NSInteger code, std::shared_ptr<const NSDictionary> userInfo = nullptr);

  const std::string& domain() const { return domain_; }
  NSInteger code() const { return code_; }
  // nullptr when the error was made without one.
  const std::shared_ptr<const NSDictionary>& userInfo() const { return userInfo_; }
  // The user info's NSLocalizedDescriptionKey string when there is one, otherwise
  // "The operation couldn’t be completed. (<domain> error <code>.)".
  std::string localizedDescription() const;

  // Same domain, code and user info.
  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override;
  // Error Domain=<domain> Code=<code> "<localized description>" UserInfo={...}
  std::string description() const override;
  std::string className() const override { return "NSError"; }

 private:
  std::string domain_;
  NSInteger code_;
  std::shared_ptr<const NSDictionary> userInfo_;
};
