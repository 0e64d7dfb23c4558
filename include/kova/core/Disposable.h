#pragma once

#include <functional>

#include "kova/core/Export.h"

namespace kova {

/// Owns a clean-up function and calls it at most once, when `dispose` is called.
///
/// It is not a scope guard: destroying the object or assigning to it destroys the function without
/// calling the function. The owner of the object decides when to clean up, and calls `dispose`.
///
/// Not thread-safe. The function may use, move and destroy the object that calls it.
///
///     int users = 1;
///     kova::Disposable release([&users] { --users; });
///     release.dispose();  // users is 0
///     release.dispose();  // still 0
class KOVA_API Disposable {
public:
    /// Takes ownership of the function. An empty function creates an object that is already
    /// disposed. The constructor is explicit: there is no implicit conversion from a function.
    explicit Disposable(std::function<void()>&& function) noexcept;
    ~Disposable();
    /// Takes ownership of the function of `other`, and leaves `other` empty.
    Disposable(Disposable&& other) noexcept;
    /// Takes ownership of the function of `other`, and leaves `other` empty. Destroys the function
    /// that this object had, without calling it. Assigning an object to itself does nothing.
    Disposable& operator=(Disposable&& other) noexcept;

    /// Calls the function unless the function was called before. Returns false if `dispose` called
    /// the function, and true if there was no function to call.
    ///
    /// If the function throws, the exception reaches the caller, and the function counts as called.
    /// The object is emptied before the function runs, so a nested call of `dispose` returns true.
    bool dispose();
    /// Does the same as `dispose`.
    bool _dispose();

private:
    std::function<void()> function_;
};

}  // namespace kova
