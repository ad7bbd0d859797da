// The bench at its smallest: every measurement runs to the end and has its row, and off a
// terminal the table is all it prints.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tools/OstrandTools/Bench/Bench.h"

namespace {

TEST(BenchTest, QuickRunMeasuresEveryRow) {
  std::ostringstream out;
  std::ostringstream err;
  ASSERT_EQ(ostrand_tools::Bench({.quick = true}).run(out, err), 0) << err.str();
  const std::string table = out.str();
  EXPECT_EQ(table.rfind("Measurement", 0), 0u) << table;
  for (const char* row :
       {"conversion: biometrics", "conversion: diabetes", "conversion: weight",
        "conversion: nutrition", "conversion: fitness", "conversion: sleep", "outbox commit",
        "historical fetch, 6 months", "historical fetch, peak RSS growth",
        "background wake, an hour of data", "wake, the engine's own CPU",
        "replay, 2 days hour by hour", "export read", "export stored"}) {
    EXPECT_NE(table.find(row), std::string::npos) << row;
  }
}

}  // namespace
