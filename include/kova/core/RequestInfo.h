#pragma once

#include <string>

#include "kova/core/Export.h"
#include "kova/core/Request.h"

namespace kova {

/// The facts of a request that a service copies into its responses: command, path, service path and
/// client id, each possibly empty. A plain value, not locked.
///
///     const kova::RequestInfo info(kova::Request("retrieve", "/light/state"));
///     info.getPath();      // "/light/state"
///     info.getClientId();  // "": the request has no such entry
class KOVA_API RequestInfo {
public:
    /// The four texts as given.
    RequestInfo(std::string command, std::string path, std::string servicePath,
                std::string clientId) noexcept;
    /// Command and path of the request, and its header entries "$service-path" and "$client-id"; an
    /// entry that is missing or no string leaves its field empty.
    explicit RequestInfo(const Request& request);

    /// @{
    /// A copy is independent. Assigning an object to itself changes nothing.
    RequestInfo(const RequestInfo&) = default;
    RequestInfo(RequestInfo&&) noexcept = default;
    RequestInfo& operator=(const RequestInfo&) = default;
    RequestInfo& operator=(RequestInfo&& other) noexcept;
    ~RequestInfo() = default;
    /// @}

    /// The command word of the request.
    const std::string& getCommand() const noexcept { return command_; }
    /// The resource path of the request.
    const std::string& getPath() const noexcept { return path_; }
    /// The path of the service that handles it.
    const std::string& getServicePath() const noexcept { return servicePath_; }
    /// Who asked.
    const std::string& getClientId() const noexcept { return clientId_; }

private:
    std::string command_;
    std::string path_;
    std::string servicePath_;
    std::string clientId_;
};

}  // namespace kova
