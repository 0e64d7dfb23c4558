// A URL that is built from components has these components.
#include "kova/core/Path.h"
#include "kova/core/url.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::url;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const auto port = static_cast<unsigned short>(input.byte() << 8 | input.byte());
    const std::string scheme = input.line();
    const std::string host = input.line();
    const std::string path = input.line();
    if (!lacks(scheme + host, ":[?#@/") || !lacks(path, "@[")) {
        return 0;  // these characters change the components
    }
    const url built = url::fromUserinfo(scheme, "me", host, path, port);
    requireEqual(built.scheme(), scheme, "the URL has the scheme");
    requireEqual(built.userinfo(), "me", "the URL has the user info");
    requireEqual(built.hostname(), host, "the URL has the host");
    requireEqual(built.rest(), kova::Path::absolute(path), "the rest is the absolute path");
    require(built.port() == port && built.isWellFormed(),
            "the URL is well-formed and has the port");
    return 0;
}
