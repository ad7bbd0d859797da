#include "Foundation/NSObject.h"

#include <cstdio>
#include <functional>
#include <stdexcept>

NSAny NSObject::valueForKey(const std::string& key) const {
  throw std::invalid_argument("valueForUndefinedKey: " + className() + " has no key '" + key + "'");
}

NSAny NSObject::valueForKeyPath(const std::string& path) const {
  std::size_t start = 0;
  NSAny value;
  const NSObject* current = this;
  std::shared_ptr<const NSObject> holder;  // keeps the object being walked alive
  while (true) {
    std::size_t dot = path.find('.', start);
    std::string key =
        path.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
    if (key.empty()) {
      throw std::invalid_argument("valueForKeyPath: empty key at offset " + std::to_string(start) +
                                  " in '" + path + "'");
    }
    value = current->valueForKey(key);
    if (dot == std::string::npos || value.isNil()) return value;
    if (!value.isObject()) {
      throw std::invalid_argument("valueForKeyPath: '" + key + "' in '" + path + "' is " +
                                  value.kindName() + ", which has no keys");
    }
    holder = value.object();
    current = holder.get();
    start = dot + 1;
  }
}

bool NSObject::isEqual(const NSObject& other) const { return this == &other; }

std::size_t NSObject::hash() const { return std::hash<const void*>{}(this); }

std::optional<NSComparisonResult> NSObject::compare(const NSObject&) const { return std::nullopt; }

std::string NSObject::description() const {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + className() + ": " + address + ">";
}

std::string NSObject::className() const { return "NSObject"; }
