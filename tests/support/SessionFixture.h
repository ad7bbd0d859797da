#pragma once

// SessionFixture: a HealthKitFixture whose test also has the shared core session running for
// user "user-1" on a database of its own in a fresh temporary directory, so no test sees another
// one's session data or outbox. The catalog's cached tables are rebuilt for the test's platform
// version (iOS 17 unless the test pins another one and calls OSTResetCachedValuesForTesting()).
// On TearDown the session ends before the directory goes.

#include <memory>
#include <string>

#include "HealthKitFixture.h"
#include "OstrandCore/OSTSession.h"
#include "TemporaryDirectory.h"

namespace testing_support {

class SessionFixture : public HealthKitFixture {
 protected:
  static constexpr char kUserID[] = "user-1";

  void SetUp() override;
  void TearDown() override;

  const std::shared_ptr<OSTSession>& session() const { return session_; }
  const std::string& databasePath() const { return databasePath_; }

  // Ends the session and starts a new one on the same database, as a relaunched app would.
  void restartSession();

 private:
  std::unique_ptr<TemporaryDirectory> directory_;
  std::string databasePath_;
  std::shared_ptr<OSTSession> session_;
};

}  // namespace testing_support
