#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"

namespace kova {

/// Asks a service for its root and hands the caller the list of its resources: the client's side of
/// what a composed service answers at "/".
///
/// A plain value. Any thread may use it as long as the service lives. No function throws. The
/// caller's handler may abort the tracking and destroy the accessor in a callback; it is not
/// destroyed while one of its callbacks runs.
///
///     using Paths = std::vector<std::string>;
///     const auto track = [](kova::IKovaApi& service,
///                           std::shared_ptr<kova::IResponseHandler<Paths>> handler) {
///         kova::RootAccessor accessor(&service, "application/json", "/house");
///         return accessor.trackResources(std::move(handler));
///     };
class KOVA_API RootAccessor {
public:
    /// `service` is borrowed. `mimeType` is the type in which answers are wanted, `tracingInfo` the
    /// service path written into each request ("$service-path").
    RootAccessor(IKovaApi* service, const std::string& mimeType, const std::string& tracingInfo);

    /// @{
    /// A copy asks the same service. Assigning an accessor to itself changes nothing.
    RootAccessor(const RootAccessor&) = default;
    RootAccessor(RootAccessor&&) noexcept = default;
    RootAccessor& operator=(const RootAccessor&) = default;
    RootAccessor& operator=(RootAccessor&& other) noexcept;
    ~RootAccessor() = default;
    /// @}

    /// Asks for the list. The handler gets each decodable answer, whatever its status code, and the
    /// service's error or completion. An answer that cannot be decoded is reported
    /// (`UndefinedMimeType`, `DeserializationError`) and ends the request from this side without an
    /// event. Returns the service's request handle, or `IKovaApi::UNDEFINED_REQUEST_HANDLE`.
    void* trackResources(
        std::shared_ptr<IResponseHandler<std::vector<std::string>>> handler) noexcept;
    /// Cancels what `trackResources` returned.
    void abortTracking(void* handle) noexcept;

private:
    IKovaApi* service_;
    std::string mimeType_;
    std::string tracingInfo_;
};

}  // namespace kova
