#pragma once

// ContentUUID: a name-based (version 5, SHA-1) UUID built from the fields of an object, so the
// same content always gets the same UUID. Fields are appended one by one, each length-prefixed,
// so ("ab", "c") and ("a", "bc") differ.
//
// A value; not shared between threads.
//
//   ContentUUID id("record");
//   id.add(type).add(sourceName).add(startDate);
//   NSUUID uuid = id.uuid();

#include <string>
#include <string_view>

#include "Foundation/NSUUID.h"

namespace apple_health_export {

class ContentUUID {
 public:
  explicit ContentUUID(std::string_view kind);

  ContentUUID& add(std::string_view field);
  ContentUUID& add(const NSUUID& uuid);

  NSUUID uuid() const;

 private:
  std::string content_;  // the namespace's bytes, then the fields
};

}  // namespace apple_health_export
