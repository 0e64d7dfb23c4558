#include "servicecomposition/MimeTypeFunction.h"

#include <utility>

#include "kova/core/StaticComposedKovaService.h"

namespace kova {

namespace {

// The function object is created on first use, so that an application can set it before the static
// objects of this library are constructed.
std::function<std::string(const Request&)>& current() {
    static auto* const func = new std::function<std::string(const Request&)>();
    return *func;
}

}  // namespace

const std::function<std::string(const Request&)>& detail::mimeTypeFunc() {
    return current();
}

void servicecomp::overrideMimeTypeFunc(std::function<std::string(const Request&)>&& func) {
    current() = std::move(func);
}

}  // namespace kova
