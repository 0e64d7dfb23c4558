#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"

namespace kova {

/// Requests the path "/" of a service and delivers the list of the service's resources. A composed
/// service sends this list as its answer to "/".
///
/// Plain value type. Any thread may use it while the service lives. No function throws. In a
/// callback, the caller's handler may abort the tracking and destroy the accessor. The handler is
/// not destroyed while one of its callbacks runs.
///
///     using Paths = std::vector<std::string>;
///     const auto track = [](kova::IKovaApi& service,
///                           std::shared_ptr<kova::IResponseHandler<Paths>> handler) {
///         kova::RootAccessor accessor(&service, "application/json", "/home");
///         return accessor.trackResources(std::move(handler));
///     };
class KOVA_API RootAccessor {
public:
    /// Creates an accessor of `service`, which must outlive it. `mimeType` is the mime type of the
    /// answers. `tracingInfo` is the service path in each request ("$service-path").
    RootAccessor(IKovaApi* service, const std::string& mimeType, const std::string& tracingInfo);

    /// @{
    /// A copy uses the same service. Assigning an accessor to itself changes nothing.
    RootAccessor(const RootAccessor&) = default;
    RootAccessor(RootAccessor&&) noexcept = default;
    RootAccessor& operator=(const RootAccessor&) = default;
    RootAccessor& operator=(RootAccessor&& other) noexcept;
    ~RootAccessor() = default;
    /// @}

    /// Requests the list. The handler receives the list of each answer that can be decoded,
    /// whatever its status code, and the error or completion of the service. An answer that cannot
    /// be decoded is reported (`UndefinedMimeType`, `DeserializationError`). The response handler
    /// then returns true to the service, and the caller's handler receives no event. Returns the
    /// request handle of the service, or `IKovaApi::UNDEFINED_REQUEST_HANDLE`.
    void* trackResources(
        std::shared_ptr<IResponseHandler<std::vector<std::string>>> handler) noexcept;
    /// Cancels the request with the handle that `trackResources` returned.
    void abortTracking(void* handle) noexcept;

private:
    IKovaApi* service_;
    std::string mimeType_;
    std::string tracingInfo_;
};

}  // namespace kova
