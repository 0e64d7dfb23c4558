#pragma once

#include <functional>

#include "kova/core/Export.h"

namespace kova {

/// Holds a clean-up function and calls it at most once, when told to.
///
/// It is not a scope guard: destroying it, like assigning to it, drops a function that was not
/// called. So where a `Disposable` is moved to, thrown away or replaced never decides whether the
/// clean-up runs; whoever owns one says `dispose`.
///
/// Not thread-safe. The function may use, move and destroy the object that calls it.
///
///     int users = 1;
///     kova::Disposable release([&users] { --users; });
///     release.dispose();  // users is 0
///     release.dispose();  // still 0
class KOVA_API Disposable {
public:
    /// Takes ownership of the function; an empty function makes an object that is already disposed.
    /// Explicit: a function never becomes a `Disposable` without its name.
    explicit Disposable(std::function<void()>&& function) noexcept;
    ~Disposable();
    /// Takes the function of `other`, which is left empty.
    Disposable(Disposable&& other) noexcept;
    /// The same; the function that this object held is destroyed without being called. Assigning an
    /// object to itself does nothing.
    Disposable& operator=(Disposable&& other) noexcept;

    /// Calls the function unless it was called before. Returns whether there was nothing to call:
    /// false for the call that runs the function, true for every later one.
    ///
    /// An exception of the function reaches the caller, and the function counts as called. The
    /// object is emptied before the function runs, so a call inside the function returns true.
    bool dispose();
    /// Does the same as `dispose`.
    bool _dispose();

private:
    std::function<void()> function_;
};

}  // namespace kova
