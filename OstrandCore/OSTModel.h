#pragma once

// OSTModel: the plain base class of the core library's model objects (records, and classes such
// as a catalog that only offer class operations). It adds nothing to NSObject; it exists so that
// model classes share one root, as the rest of the company's code expects.
//
// Thread-safety and lifetime are those of the subclass.

#include <string>

#include "Foundation/NSObject.h"

class OSTModel : public NSObject {
 public:
  std::string className() const override { return "OSTModel"; }

 protected:
  OSTModel() = default;
  OSTModel(const OSTModel&) = default;
  OSTModel& operator=(const OSTModel&) = default;
};
