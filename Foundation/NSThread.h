#pragma once

// NSThread: only the question the library asks of it, whether the caller is on the main thread.
// The main thread is the process's main thread, the one that drains the main queue
// (platform::DispatchRuntime). Thread-safe.

class NSThread {
 public:
  static bool isMainThread();
};
