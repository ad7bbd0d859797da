#pragma once

// runKilledChild: runs one test of this very test binary in a child process that kills itself
// with SIGKILL at a chosen write, as a crash test's "before" half. The child learns where to stop
// from an environment variable and, before raising SIGKILL, writes the kind of write it stopped at
// (one character) to `<database>.kill`.

#include <string>

// Runs `testName` with `variable`=`value` in its environment and its standard output dropped.
// Returns the kind of write the child was killed at, or 0 when it ran to the end; adds a test
// failure when its exit does not match (killed by SIGKILL, or exit status 0). Its standard error
// stays, so a sanitizer's report from the child shows in the test's output.
char runKilledChild(const std::string& testName, const char* variable, const std::string& value,
                    const std::string& database);
