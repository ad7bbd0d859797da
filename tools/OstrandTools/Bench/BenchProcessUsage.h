#pragma once

// BenchProcessUsage: what the process has used so far, read from the kernel: CPU time (user and
// system, all threads), resident memory now, and its peak. The peak can be reset to the current
// resident size (Linux's clear_refs), so that a step's own peak can be measured after earlier
// steps have freed what they used. From the heap itself: the bytes it has handed out and not
// had back, which unlike the resident size does not depend on which pages earlier steps left
// half used.
//
// Static functions; any thread.

#include <chrono>
#include <cstdint>

namespace ostrand_tools {

class BenchProcessUsage {
 public:
  static std::chrono::duration<double> cpuTime();
  // CPU time of the calling thread alone.
  static std::chrono::duration<double> threadCpuTime();
  // VmRSS and VmHWM of /proc/self/status, in bytes; 0 when it cannot be read.
  static std::uint64_t residentBytes();
  static std::uint64_t peakResidentBytes();
  // Makes the peak the current resident size; false when the kernel does not allow it. The peak
  // it drops still counts in runPeakResidentBytes().
  static bool resetPeakResident();
  // Hands the heap's free memory back to the kernel, so that the resident size measured next
  // does not count on memory an earlier step freed (which the heap would otherwise reuse,
  // hiding the next step's growth).
  static void returnFreedMemory();
  // Bytes allocated and not yet freed, their heap overhead included; 0 where the C library does
  // not tell.
  static std::uint64_t heapInUseBytes();
  // The peak resident size since the process started, across resets.
  static std::uint64_t runPeakResidentBytes();
};

}  // namespace ostrand_tools
