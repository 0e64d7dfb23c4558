#pragma once

#include <mutex>

#include "osal/Export.h"
#include "osal/MutexImpl.h"

namespace osal {

/// The mutex that the framework uses. It is recursive if the constructor's argument is true.
///
/// Works with `std::lock_guard<osal::Mutex>`. Any thread may lock it. Only the thread that locked
/// it may unlock it.
///
///     osal::Mutex mutex;
///     const std::lock_guard<osal::Mutex> lock(mutex);
class OSAL_API Mutex {
public:
    /// Constructs an unlocked mutex. If `recursive` is true, the owning thread may lock it again.
    explicit Mutex(bool recursive = false) : impl_(recursive) {}

    /// Locks the mutex; waits until it is free.
    void lock() { impl_.lock(); }
    /// Locks the mutex if it is free. Returns whether it was locked.
    [[nodiscard]] bool try_lock() { return impl_.try_lock(); }
    /// Unlocks the mutex.
    void unlock() { impl_.unlock(); }

private:
    threadsafe::MutexImpl impl_;
};

}  // namespace osal
