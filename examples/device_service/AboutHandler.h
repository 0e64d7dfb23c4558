#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"

namespace device {

/// Serves information about the service: "versions" lists the versions of its interface, "request"
/// echoes what the service received with the request. All responses are sent inside the call.
/// Thread-safe.
class AboutHandler : public kova::IResourceHandler {
public:
    /// `versions` are texts in the format of `kova::semver`.
    explicit AboutHandler(std::vector<std::string> versions) : versions_(std::move(versions)) {}

    void* actionRequest(const kova::Request& request,
                        std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                        const std::string& resourcePath) override;
    void cancelRequest(void* handle) override;

private:
    kova::Response respond(const kova::Request& request, const std::string& resourcePath) const;

    const std::vector<std::string> versions_;
};

}  // namespace device
