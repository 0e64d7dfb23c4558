#pragma once

#include <pthread.h>

#include "osal/Export.h"

namespace threadsafe {

/// A mutual-exclusion lock of the operating system, recursive on request.
///
/// It is not a guard: whoever locks it unlocks it. `std::lock_guard` and `std::unique_lock` take it
/// as it is. Any thread may call any operation; `unlock` belongs to the thread that holds the lock.
class OSAL_API MutexImpl {
public:
    /// Makes an unlocked mutex. With `recursive` the holder may lock it again, and unlocks it as
    /// often as it locked it; without, a second `lock` by the holder stops the process.
    explicit MutexImpl(bool recursive);
    ~MutexImpl();
    MutexImpl(const MutexImpl&) = delete;
    MutexImpl& operator=(const MutexImpl&) = delete;

    /// Waits until the lock is free and takes it.
    void lock();
    /// Takes the lock if it is free; true when it was taken.
    [[nodiscard]] bool try_lock();
    /// Gives the lock back.
    void unlock();

private:
    pthread_mutex_t mutex_;
};

}  // namespace threadsafe
