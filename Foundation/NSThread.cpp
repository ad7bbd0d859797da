#include "Foundation/NSThread.h"

#include <unistd.h>

// On Linux the main thread's id is the process id.
bool NSThread::isMainThread() { return gettid() == getpid(); }
