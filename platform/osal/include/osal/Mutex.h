#pragma once

#include "osal/Export.h"
#include "osal/MutexImpl.h"

namespace osal {

/// The mutex that the framework locks with: not recursive unless asked for.
///
/// Usable with `std::lock_guard<osal::Mutex>`. Any thread may lock it; the thread that locked it
/// unlocks it.
class OSAL_API Mutex {
public:
    /// Makes an unlocked mutex.
    explicit Mutex(bool recursive = false) : impl_(recursive) {}

    /// Waits until the mutex is free and takes it.
    void lock() { impl_.lock(); }
    /// Takes the mutex if it is free; true when it was taken.
    [[nodiscard]] bool try_lock() { return impl_.try_lock(); }
    /// Gives the mutex back.
    void unlock() { impl_.unlock(); }

private:
    threadsafe::MutexImpl impl_;
};

}  // namespace osal
