#include "kova/core/StaticComposedKovaService.h"

#include <utility>

#include "kova/core/StaticComposedKovaServiceImpl.h"

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

}  // namespace kova
