#include "kova/core/Disposable.h"

#include <utility>

namespace kova {

Disposable::Disposable(std::function<void()>&& function) noexcept
    : function_(std::exchange(function, nullptr)) {}

Disposable::~Disposable() = default;

Disposable::Disposable(Disposable&& other) noexcept
    : function_(std::exchange(other.function_, nullptr)) {}

Disposable& Disposable::operator=(Disposable&& other) noexcept {
    if (this != &other) {
        // Destroys the former function last, because the destructors of its captures may use this
        // object.
        std::function<void()> former = std::exchange(other.function_, nullptr);
        function_.swap(former);
    }
    return *this;
}

bool Disposable::dispose() {
    return _dispose();
}

bool Disposable::_dispose() {
    const std::function<void()> function = std::exchange(function_, nullptr);
    if (!function) {
        return true;
    }
    function();
    return false;
}

}  // namespace kova
