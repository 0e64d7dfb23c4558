#include "BridgeFilter.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "kova/core/Path.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Command.h"

namespace kova::tool {

namespace {

std::string normalized(const std::string& text) {
    Path path(text);
    path.makeAbsolute();
    return path.toString();
}

bool isAnyOf(const std::vector<PathPatterns>& globs, const std::string& path) {
    return std::any_of(globs.begin(), globs.end(),
                       [&path](const PathPatterns& glob) { return glob.match(path); });
}

kit::Error malformed(const std::string& glob, const std::string& reason) {
    return {statuscodes::BAD_REQUEST, "'" + glob + "': " + reason};
}

kit::Error refusal(const std::string& reason) {
    return {statuscodes::FORBIDDEN, "the bridge " + reason};
}

}  // namespace

kit::Result<PathPatterns> pathsBelow(const std::string& glob) {
    if (glob.empty() || (glob.front() != '/' && glob.front() != '*')) {
        return malformed(glob, "the glob of a path begins with '/' or '*'");
    }
    if (glob.find("//") != std::string::npos) {
        return malformed(glob, "a path has no empty segment");
    }
    if (glob.find('|') != std::string::npos) {
        return malformed(glob, "give the option once for each alternative, without '|'");
    }
    if (glob.back() == '\\') {
        return malformed(glob, "nothing follows the last '\\'");
    }
    try {
        static_cast<void>(PathPatterns(glob));  // what is appended must not complete it
        const std::string itself =
            glob.back() == '/' && glob.size() > 1 ? glob.substr(0, glob.size() - 1) : glob;
        return PathPatterns(itself + '|' + (itself == "/" ? "" : itself) + "/**");
    } catch (const std::exception& error) {
        return malformed(glob, error.what());
    }
}

std::optional<kit::Error> BridgeRules::refusalOf(const Request& request) const {
    if (isReadOnly && request.getCommand() != kit::command::retrieve) {
        return refusal("only carries retrievals");
    }
    if (allow.empty() && deny.empty()) {
        return std::nullopt;
    }
    if (request.getPath().size() > LONGEST_PATH) {
        return refusal("carries no path with more than " + std::to_string(LONGEST_PATH) + " bytes");
    }
    if (request.getPath().find_first_of("\r\n") != std::string::npos) {
        return refusal("carries no path with a line break");
    }
    const std::string path = normalized(request.getPath());
    if (isAnyOf(deny, path) || (!allow.empty() && !isAnyOf(allow, path))) {
        return refusal("does not carry requests for this path");
    }
    return std::nullopt;
}

BridgeFilter::BridgeFilter(IKovaApi& service, BridgeRules rules)
    : service_(service), rules_(std::move(rules)) {}

void* BridgeFilter::actionRequest(const Request& request,
                                  std::unique_ptr<IResponseHandler<Response>>&& handler) {
    const std::optional<kit::Error> refused = rules_.refusalOf(request);
    if (!refused) {
        return service_.actionRequest(request, std::move(handler));
    }
    const std::unique_ptr<IResponseHandler<Response>> owned = std::move(handler);
    owned->onError(refused->toResponse());
    return UNDEFINED_REQUEST_HANDLE;
}

}  // namespace kova::tool
