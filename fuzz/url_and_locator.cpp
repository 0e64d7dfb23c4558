// URLs and locators: a URL is cut into pieces of its text, what was built from pieces has them, and
// a locator comes back from its URI.
#include "kova/core/Path.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/url.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;
using kova::ResourceLocator;
using kova::url;

namespace {

bool lacks(const std::string& text, char const* delimiters) {
    return text.find_first_of(delimiters) == std::string::npos;
}

void checkPieces(const std::string& text) {
    const url cut(text);
    const std::string& whole = cut.toString();
    require(whole == text || (whole.empty() && cut.isIpv6()), "a url keeps its text");
    require(whole.compare(0, cut.scheme().size(), cut.scheme()) == 0, "the scheme comes first");
    require(whole.find(cut.userinfo()) != std::string::npos, "the user info is a piece");
    const std::size_t end = whole.size() - cut.rest().size();
    const std::size_t length = cut.authority().size();
    require(length <= end && whole.substr(end - length) == cut.authority() + cut.rest(),
            "the rest comes last, behind the authority");
    require(cut.authority().rfind(cut.hostname(), 0) == 0, "the host is in the authority");
    require(cut.hostname(true).size() <= cut.hostname().size(), "brackets are stripped");
    const std::string query = cut.query().empty() ? "" : '?' + cut.query();
    const std::string fragment = cut.fragment().empty() ? "" : '#' + cut.fragment();
    if (cut.rest().find_last_of('?') < cut.rest().find('#') && !query.empty()) {
        requireEqual(cut.path() + query +
                         (fragment.empty() && cut.rest().back() == '#' ? "#" : "") + fragment,
                     cut.rest(), "path, query and fragment make the rest");
    }
}

void checkBuilt(const std::string& scheme, const std::string& host, const std::string& path,
                unsigned short port) {
    if (!lacks(scheme, ":[?#@/") || !lacks(host, ":[?#@/") || !lacks(path, "@[")) {
        return;
    }
    const url built = url::fromUserinfo(scheme, "me", host, path, port);
    requireEqual(built.scheme(), scheme, "scheme");
    requireEqual(built.userinfo(), "me", "user info");
    requireEqual(built.hostname(), host, "host");
    requireEqual(built.rest(), Path::absolute(path), "rest");
    require(built.port() == port && built.isWellFormed(), "port");
}

void checkLocator(const std::string& base, const std::string& instance,
                  const std::string& resource) {
    if (!lacks(base + instance, "$?#[@") || !lacks(resource, "?#[@") || base.rfind("//", 0) == 0) {
        return;
    }
    const auto locator = ResourceLocator::fromPathsWithInstance(base, instance, resource);
    const auto back = ResourceLocator::fromUri(locator.toUri());
    if (locator.getServicePath()->rfind("//", 0) == 0) {
        return;  // the URI has an authority
    }
    require(ResourceLocator::isResourceLocator(locator.toUri()), "its URI is a locator");
    require(back.has_value(), "a locator is read from its URI");
    requireEqual(back->toString(), locator.toString(), "a locator comes back from its URI");
    require(back->getServiceInstance() == locator.getServiceInstance(), "instance");
    requireEqual(locator.getElementId(1), Path(resource).at(Path::NPOS), "the last element");
    requireEqual(locator.getResourcePrefix(0), '/' + Path(resource).subpath(0, Path::NPOS),
                 "the whole prefix");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    checkPieces(std::string(reinterpret_cast<char const*>(data), size));
    const auto port = static_cast<unsigned short>(input.byte() << 8 | input.byte());
    const std::string first = input.line();
    const std::string second = input.line();
    const std::string third = input.line();
    checkBuilt(first, second, third, port);
    checkLocator(first, second, third);
    return 0;
}
