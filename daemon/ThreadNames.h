#pragma once

#include <pthread.h>

/// The names of the daemon's threads, which /proc/PID/task/TID/comm tells every user. At most 15
/// bytes.
inline constexpr const char* kReceiverName = "tavok-receiver";
inline constexpr const char* kWorkerName = "tavok-worker";
/// The receiver's, while what it received last could not be stored.
inline constexpr const char* kLosingName = "tavok-losing";

/// Names the calling thread.
inline void NameThread(const char* name) { (void)::pthread_setname_np(::pthread_self(), name); }
