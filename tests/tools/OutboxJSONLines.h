#pragma once

// The outbox of a session database as sorted JSON lines: the historical fetch's paths run at
// once, so the order in which their records were submitted is not fixed, the records are.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tools/OstrandTools/Outbox/OutboxCommand.h"

namespace testing_support {

inline std::vector<std::string> outboxJSONLines(const std::string& database) {
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(ostrand_tools::runOutbox(database, true, out, err), 0) << err.str();
  std::vector<std::string> lines;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace testing_support
