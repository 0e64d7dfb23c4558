#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"

namespace device {

/// What a service says about itself: "versions" are those of its interface, "request" is what it
/// saw of the very request that asks. Every request is answered at once; any thread may ask.
class AboutHandler : public kova::IResourceHandler {
public:
    /// `versions` as `kova::semver` reads them.
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
