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
    explicit Mutex(bool recursive = false) : impl_(recursive) {}

    void lock() { impl_.lock(); }
    [[nodiscard]] bool try_lock() { return impl_.try_lock(); }
    void unlock() { impl_.unlock(); }

private:
    threadsafe::MutexImpl impl_;
};

}  // namespace osal
