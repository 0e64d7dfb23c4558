#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/core/PathPatterns.h"
#include "kova/kit/Result.h"

namespace kova::tool {

/// Which requests a bridge carries. Each glob selects the resources that it matches and all
/// resources below them. A value type.
///
/// Paths are compared in the normalized form of the core, in which "//a///b/" is "/a/b". As in the
/// core, "..", "." and "%2e" are ordinary text. A relative path counts as an absolute one.
///
///     BridgeRules rules;
///     rules.deny.push_back(*pathsBelow("/secret"));
///     rules.refusalOf(Request("retrieve", "//secret/key"));  // 403
struct BridgeRules {
    /// If it is not empty, only requests for these paths pass.
    std::vector<PathPatterns> allow;
    /// Requests for these paths do not pass.
    std::vector<PathPatterns> deny;
    /// Whether only the command "retrieve" passes.
    bool isReadOnly = false;

    /// The longest path that passes if there are globs, in bytes.
    static constexpr std::size_t LONGEST_PATH = 4096;

    /// Returns the error 403 if the request does not pass. If there are globs, a path with a line
    /// feed or a carriage return does not pass, because globs do not match these characters.
    std::optional<kit::Error> refusalOf(const Request& request) const;
};

/// Returns the pattern of the paths that a glob selects. Fails with 400 if the glob is malformed,
/// or if it could never match a normalized path and so would protect nothing: it begins with "/" or
/// "*", has no "//", and no "|", because an alternative without the ending would select too little.
kit::Result<PathPatterns> pathsBelow(const std::string& glob);

/// Passes the requests that the rules allow to a service, and answers all others with 403. Handles,
/// values, errors and cancellations are those of the service.
///
///     BridgeFilter filter(*service, rules);
///     http::Endpoint endpoint(filter, "unix:device.sock");
class BridgeFilter final : public IKovaApi {
public:
    /// The service must outlive the object.
    BridgeFilter(IKovaApi& service, BridgeRules rules);

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    void cancelRequest(void* handle) override { service_.cancelRequest(handle); }

private:
    IKovaApi& service_;
    const BridgeRules rules_;
};

}  // namespace kova::tool
