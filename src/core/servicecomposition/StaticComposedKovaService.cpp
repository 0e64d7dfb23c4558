#include "kova/core/StaticComposedKovaService.h"

#include <utility>

#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "servicecomposition/MimeTypeFunction.h"

namespace kova {

StaticComposedKovaService::StaticComposedKovaService(
    std::map<std::string, std::unique_ptr<IResourceHandler>>&& handlers)
    : impl_(std::make_unique<StaticComposedKovaServiceImpl>(std::move(handlers))) {}

StaticComposedKovaService::~StaticComposedKovaService() = default;

void* StaticComposedKovaService::actionRequest(
    const Request& request, std::unique_ptr<IResponseHandler<Response>>&& handler) noexcept {
    return impl_->actionRequest(request, std::move(handler));
}

void StaticComposedKovaService::cancelRequest(void* handle) noexcept {
    impl_->cancelRequest(handle);
}

void StaticComposedKovaService::shutdown() {
    impl_->shutdown();
}

namespace servicecomp {

namespace {

// Made on first use, so that it may be set before this library's static objects exist.
std::function<std::string(const Request&)>& current() {
    static auto* const func = new std::function<std::string(const Request&)>();
    return *func;
}

}  // namespace

const std::function<std::string(const Request&)>& mimeTypeFunc() {
    return current();
}

void overrideMimeTypeFunc(std::function<std::string(const Request&)>&& func) {
    current() = std::move(func);
}

}  // namespace servicecomp

}  // namespace kova
