#pragma once

#include <string>

#include "kova/core/Export.h"
#include "kova/core/Request.h"

namespace kova {

/// The fields of a request that a service copies into its responses: command, path, service path
/// and client id. Each field may be empty. Plain value type. Not synchronized.
///
///     const kova::RequestInfo info(kova::Request("retrieve", "/light/state"));
///     info.getPath();      // "/light/state"
///     info.getClientId();  // "": the request has no such entry
class KOVA_API RequestInfo {
public:
    /// Stores the four texts unchanged.
    RequestInfo(std::string command, std::string path, std::string servicePath,
                std::string clientId) noexcept;
    /// Copies command and path of the request and its header entries "$service-path" and
    /// "$client-id". If an entry is missing or is not a string, its field is empty.
    explicit RequestInfo(const Request& request);

    /// @{
    /// A copy is independent. Assigning an object to itself changes nothing.
    RequestInfo(const RequestInfo&) = default;
    RequestInfo(RequestInfo&&) noexcept = default;
    RequestInfo& operator=(const RequestInfo&) = default;
    RequestInfo& operator=(RequestInfo&& other) noexcept;
    ~RequestInfo() = default;
    /// @}

    /// Returns the command word of the request.
    const std::string& getCommand() const noexcept { return command_; }
    /// Returns the resource path of the request.
    const std::string& getPath() const noexcept { return path_; }
    /// Returns the path of the service that handles the request.
    const std::string& getServicePath() const noexcept { return servicePath_; }
    /// Returns the identity of the requesting client.
    const std::string& getClientId() const noexcept { return clientId_; }

private:
    std::string command_;
    std::string path_;
    std::string servicePath_;
    std::string clientId_;
};

}  // namespace kova
