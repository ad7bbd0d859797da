#include "KilledChild.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

char runKilledChild(const std::string& testName, const char* variable, const std::string& value,
                    const std::string& database) {
  const std::string command = "exec env " + std::string(variable) + "='" + value + "' '" +
                              std::filesystem::read_symlink("/proc/self/exe").string() +
                              "' --gtest_filter=" + testName + " >/dev/null";
  std::filesystem::remove(database + ".kill");
  const int status = std::system(command.c_str());
  char point = 0;
  std::ifstream(database + ".kill") >> point;
  EXPECT_TRUE(point ? WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL
                    : WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << "child killed at '" << point << "' ended with status " << status;
  return point;
}
