#pragma once

// Errors of the core library: the error domain, its codes, and OSTResult, the value-or-error
// that operations return. An error is an NSError whose localized description says what failed
// and where (the database path, the JSON location); a null error means success.
//
// Pure values, safe from any thread.
//
//   OSTResult<std::shared_ptr<OSTRecord>> decoded = OSTRecordCoder::recordFromJSON(text);
//   if (!decoded.ok()) log(decoded.error->localizedDescription());

#include <memory>
#include <string>

#include "Foundation/NSError.h"

inline constexpr char kOSTCoreErrorDomain[] = "com.ostrand.core";

enum OSTCoreErrorCode : NSInteger {
  // JSON that is not a record: malformed text, a wrong field or a bad date.
  OSTCoreErrorInvalidRecord = 1,
  // No session is running.
  OSTCoreErrorNoSession = 2,
  // The database could not be opened (missing directory, corrupt file, newer version); the
  // session runs in memory and nothing reaches the disk.
  OSTCoreErrorStorageUnavailable = 3,
  // A database operation failed (locked, disk full, I/O); nothing of it was committed.
  OSTCoreErrorStorageFailed = 4,
};

// Success is a null error.
using OSTStatus = std::shared_ptr<const NSError>;

// An error of the core domain with that description.
std::shared_ptr<const NSError> OSTCoreError(OSTCoreErrorCode code, const std::string& description);

template <class T>
struct [[nodiscard]] OSTResult {
  T value{};
  OSTStatus error;

  bool ok() const { return error == nullptr; }
};
