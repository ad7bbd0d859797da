#pragma once

// The tests' clock is the platform's manual one: it stands still until a test moves it.

#include "Foundation/Platform/ManualClock.h"

namespace testing_support {

using ManualClock = platform::ManualClock;

}  // namespace testing_support
