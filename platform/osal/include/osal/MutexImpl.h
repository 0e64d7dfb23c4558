#pragma once

#include <pthread.h>

#include "osal/Export.h"

namespace threadsafe {

/// A mutual-exclusion lock of the operating system. It is recursive if the constructor's argument
/// is true.
///
/// It is not a guard: it does not unlock itself. It works with `std::lock_guard` and
/// `std::unique_lock`. Any thread may lock it; only the thread that locked it may unlock it.
class OSAL_API MutexImpl {
public:
    /// Constructs an unlocked mutex. If `recursive` is true, the owning thread may lock it again,
    /// and must unlock it as often as it locked it. If it is false, a second `lock` by the owning
    /// thread aborts the process.
    explicit MutexImpl(bool recursive);
    ~MutexImpl();
    MutexImpl(const MutexImpl&) = delete;
    MutexImpl& operator=(const MutexImpl&) = delete;

    /// Locks the mutex; waits until it is free.
    void lock();
    /// Locks the mutex if it is free. Returns whether it was locked.
    [[nodiscard]] bool try_lock();
    /// Unlocks the mutex. Aborts the process if the calling thread does not own it.
    void unlock();

private:
    pthread_mutex_t mutex_;
};

}  // namespace threadsafe
