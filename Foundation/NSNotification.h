#pragma once

// NSNotification: a named announcement, with the object that sent it and a user-info
// dictionary, delivered by NSNotificationCenter. Immutable and thread-safe.

#include <memory>
#include <string>

#include "Foundation/NSDictionary.h"
#include "Foundation/NSObject.h"

class NSNotification : public NSObject {
 public:
  NSNotification(std::string name, std::shared_ptr<const NSObject> object,
                 std::shared_ptr<const NSDictionary> userInfo);

  // object and userInfo may be nullptr.
  static std::shared_ptr<const NSNotification> notificationWithName(
      std::string name, std::shared_ptr<const NSObject> object = nullptr,
      std::shared_ptr<const NSDictionary> userInfo = nullptr);

  const std::string& name() const { return name_; }
  const std::shared_ptr<const NSObject>& object() const { return object_; }
  const std::shared_ptr<const NSDictionary>& userInfo() const { return userInfo_; }

  std::string description() const override;
  std::string className() const override { return "NSNotification"; }

 private:
  std::string name_;
  std::shared_ptr<const NSObject> object_;
  std::shared_ptr<const NSDictionary> userInfo_;
};
