#include "Foundation/NSNotification.h"

NSNotification::NSNotification(std::string name, std::shared_ptr<const NSObject> object,
                               std::shared_ptr<const NSDictionary> userInfo)
    : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

std::shared_ptr<const NSNotification> NSNotification::notificationWithName(
    std::string name, std::shared_ptr<const NSObject> object,
    std::shared_ptr<const NSDictionary> userInfo) {
  return std::make_shared<const NSNotification>(std::move(name), std::move(object),
                                                std::move(userInfo));
}

std::string NSNotification::description() const {
  return "NSNotification " + name_ + " object=" + (object_ ? object_->description() : "nil") +
         " userInfo=" + (userInfo_ ? userInfo_->description() : "nil");
}
