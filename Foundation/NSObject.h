#pragma once

// NSObject: the base of the platform layer's reference objects (dictionaries, arrays, predicates,
// errors, notifications, and HealthKit's and the core library's objects built on them).
//
// Objects are held by std::shared_ptr and are immutable after construction unless a subclass
// says otherwise, so sharing them across threads is safe. Key-value access is how predicates
// read objects: a subclass answers its keys in valueForKey() and defers to this class for the
// rest, which fails loudly: an unknown key is a programming error, not missing data.
//
//   class Sample : public NSObject {
//     NSAny valueForKey(const std::string& key) const override {
//       if (key == "endDate") return endDate_;
//       return NSObject::valueForKey(key);
//     }
//   };
//   sample->valueForKeyPath("metadata.HKWasUserEntered");

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/NSAny.h"
#include "Foundation/NSDate.h"

class NSObject : public std::enable_shared_from_this<NSObject> {
 public:
  virtual ~NSObject() = default;

  // The value of one key. This default throws std::invalid_argument
  // "valueForUndefinedKey: <Class> has no key '<key>'".
  virtual NSAny valueForKey(const std::string& key) const;
  // Follows a dot-separated path: each piece is looked up on the object the previous piece gave.
  // A nil on the way gives nil; a piece that lands on a non-object value (a number, a string, a
  // date) before the path ends throws std::invalid_argument, as does an empty piece.
  NSAny valueForKeyPath(const std::string& path) const;

  // Identity unless a subclass compares contents; hash() must agree with isEqual().
  virtual bool isEqual(const NSObject& other) const;
  virtual std::size_t hash() const;
  // The order of this object and another, or nullopt when the two cannot be ordered (the
  // default).
  virtual std::optional<NSComparisonResult> compare(const NSObject& other) const;
  // "<ClassName: 0x...>" unless a subclass says more.
  virtual std::string description() const;
  virtual std::string className() const;

 protected:
  NSObject() = default;
  NSObject(const NSObject&) = default;
  NSObject& operator=(const NSObject&) = default;
};
