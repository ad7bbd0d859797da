#include "tools/OstrandTools/Bench/BenchProcessUsage.h"

#include <malloc.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <string>

namespace ostrand_tools {

namespace {

std::chrono::duration<double> seconds(const timeval& time) {
  return std::chrono::duration<double>(static_cast<double>(time.tv_sec) +
                                       static_cast<double>(time.tv_usec) / 1e6);
}

// The "<field>:  1234 kB" line of /proc/self/status, in bytes.
std::uint64_t statusBytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field + ":", 0) == 0) {
      return std::stoull(line.substr(field.size() + 1)) * 1024;
    }
  }
  return 0;
}

// The highest peak that a reset dropped.
std::atomic<std::uint64_t> peakBeforeResets{0};

}  // namespace

std::chrono::duration<double> BenchProcessUsage::cpuTime() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::chrono::duration<double> BenchProcessUsage::threadCpuTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::duration<double>(static_cast<double>(now.tv_sec) +
                                       static_cast<double>(now.tv_nsec) / 1e9);
}

std::uint64_t BenchProcessUsage::residentBytes() { return statusBytes("VmRSS"); }

std::uint64_t BenchProcessUsage::peakResidentBytes() { return statusBytes("VmHWM"); }

bool BenchProcessUsage::resetPeakResident() {
  peakBeforeResets = runPeakResidentBytes();
  std::ofstream clearRefs("/proc/self/clear_refs");
  clearRefs << "5";
  clearRefs.flush();
  return clearRefs.good();
}

void BenchProcessUsage::returnFreedMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

std::uint64_t BenchProcessUsage::heapInUseBytes() {
#ifdef __GLIBC__
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
#else
  return 0;
#endif
}

std::uint64_t BenchProcessUsage::runPeakResidentBytes() {
  return std::max(peakBeforeResets.load(), peakResidentBytes());
}

}  // namespace ostrand_tools
