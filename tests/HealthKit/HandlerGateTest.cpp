#include <gtest/gtest.h>

#include "HealthKit/internal/HandlerGate.h"

namespace platform::healthkit {
namespace {

TEST(HandlerGate, AHandlerMayCloseItsOwnGateAndNothingRunsAfterwards) {
  HandlerGate gate;
  int runs = 0;
  EXPECT_TRUE(gate.run([&] {
    ++runs;
    gate.close();  // must not wait for itself
    gate.close();  // twice is harmless
  }));
  EXPECT_TRUE(gate.isClosed());
  EXPECT_FALSE(gate.run([&] { ++runs; }));
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace platform::healthkit
