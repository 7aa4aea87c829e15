#pragma once

#include <time.h>

// The time of this thread alone: other processes' turns do not count.
inline double thread_microseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}
