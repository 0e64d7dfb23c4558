// A URL that was built from pieces has these pieces.
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
        return 0;  // built from other pieces
    }
    const url built = url::fromUserinfo(scheme, "me", host, path, port);
    requireEqual(built.scheme(), scheme, "scheme");
    requireEqual(built.userinfo(), "me", "user info");
    requireEqual(built.hostname(), host, "host");
    requireEqual(built.rest(), kova::Path::absolute(path), "rest");
    require(built.port() == port && built.isWellFormed(), "port");
    return 0;
}
