#pragma once

// OSTFormatter: the core library's shared formatters. Record conversion and the JSON encoding
// take their date strings from sharedFormatter()->ISO8601DateTimeFormatter() so that every date
// the library writes has one format (see OSTISO8601DateFormatter).
//
// The shared instance lives for the whole process; safe from any thread.
//
//   OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter()->stringFromDate(date);

#include <memory>

#include "OstrandCore/OSTISO8601DateFormatter.h"
#include "OstrandCore/OSTModel.h"

class OSTFormatter : public OSTModel {
 public:
  static std::shared_ptr<const OSTFormatter> sharedFormatter();

  std::shared_ptr<const OSTISO8601DateFormatter> ISO8601DateTimeFormatter() const {
    return dateTimeFormatter_;
  }

  std::string className() const override { return "OSTFormatter"; }

 private:
  std::shared_ptr<const OSTISO8601DateFormatter> dateTimeFormatter_ =
      std::make_shared<const OSTISO8601DateFormatter>();
};
