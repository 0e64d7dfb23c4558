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
class KOVA_API Disposable {
public:
    /// Takes the function over; an empty one makes an object that is disposed already.
    explicit Disposable(std::function<void()>&& function) noexcept;
    ~Disposable();
    /// Takes the function of `other`, which is left empty.
    Disposable(Disposable&& other) noexcept;
    /// The same; the function that this object held is destroyed without being called. Assigning an
    /// object to itself does nothing.
    Disposable& operator=(Disposable&& other) noexcept;

    /// Calls the function unless that was done before. What it throws passes through, and it counts
    /// as called. The object is empty before the function runs: disposing in it does nothing.
    void dispose();
    /// The same; true when there was nothing to call.
    bool _dispose();

private:
    std::function<void()> function_;
};

}  // namespace kova
