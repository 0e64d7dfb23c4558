#include "kova/kit/Locators.h"

#include <optional>

#include "kova/core/Path.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/url.h"

namespace kova::kit {

namespace {

std::string normalized(const std::string& servicePath) {
    return Path(Path::absolute(servicePath)).toString();
}

bool hasScheme(const std::string& text) {
    const std::size_t delimiter = text.find_first_of(":/");
    return delimiter != std::string::npos && text[delimiter] == ':';
}

}  // namespace

std::string locatorOf(const std::string& servicePath, const std::string& resourcePath) {
    return ResourceLocator::fromPaths(normalized(servicePath), resourcePath).toUri().toString();
}

Result<std::string> pathOf(const std::string& text, const std::string& servicePath) {
    if (!hasScheme(text)) {
        return text;
    }
    const url uri(text);
    const std::optional<ResourceLocator> locator = ResourceLocator::fromUri(uri);
    const std::string example = ", as " + locatorOf(servicePath, "/system") + " is";
    std::string reason = "'" + text + "' ";
    if (!locator) {
        reason +=
            std::string("is no locator: its scheme is not ") + locators::KOVA_URI_SCHEME + ":";
    } else if (!ResourceLocator::isResourceLocator(uri) || !uri.isWellFormed()) {
        reason += "is malformed: a locator is a scheme and two paths" + example;
    } else if (!locator->getServicePath()) {
        reason += "does not say which service: a '$' ends its path" + example;
    } else if (normalized(*locator->getServicePath()) != normalized(servicePath)) {
        reason += "leads to the service " + *locator->getServicePath() + ", and this one is " +
                  normalized(servicePath);
    } else {
        return locator->getResourcePath();
    }
    return Error{statuscodes::BAD_REQUEST, reason};
}

}  // namespace kova::kit
