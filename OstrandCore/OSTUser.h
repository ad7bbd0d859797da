#pragma once

// OSTUser: the person signed in to the core library. Immutable; safe to share between threads.

#include <string>

#include "OstrandCore/OSTModel.h"

class OSTUser : public OSTModel {
 public:
  explicit OSTUser(std::string ostrandUserID) : ostrandUserID_(std::move(ostrandUserID)) {}

  // The company's identifier of the person, as it appears in record keys.
  const std::string& ostrandUserID() const { return ostrandUserID_; }

  std::string className() const override { return "OSTUser"; }

 private:
  std::string ostrandUserID_;
};
