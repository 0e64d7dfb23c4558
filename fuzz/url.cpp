// The components of a URL are substrings of its text, in the same order.
#include "kova/core/url.h"

#include "support/Fuzz.h"

using namespace fuzz;
using kova::url;

namespace {

void checkRest(const url& cut) {
    const std::string& rest = cut.rest();
    if (cut.query().empty() || rest.find_last_of('?') >= rest.find('#')) {
        return;
    }
    const bool endsWithMark = cut.fragment().empty() && rest.back() == '#';
    const std::string fragment = cut.fragment().empty() ? "" : '#' + cut.fragment();
    requireEqual(cut.path() + '?' + cut.query() + (endsWithMark ? "#" : "") + fragment, rest,
                 "the rest consists of path, query and fragment");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text = Input(data, size).rest();
    const url cut(text);
    const std::string& whole = cut.toString();
    require(whole == text || (whole.empty() && cut.isIpv6()), "a URL keeps its text");
    require(whole.compare(0, cut.scheme().size(), cut.scheme()) == 0,
            "the text begins with the scheme");
    require(whole.find(cut.userinfo()) != std::string::npos, "the text contains the user info");
    const std::size_t end = whole.size() - cut.rest().size();
    const std::size_t length = cut.authority().size();
    require(length <= end && whole.substr(end - length) == cut.authority() + cut.rest(),
            "the text ends with the authority and the rest");
    require(cut.authority().rfind(cut.hostname(), 0) == 0, "the authority begins with the host");
    require(cut.hostname(true).size() <= cut.hostname().size(),
            "stripping brackets does not make the host longer");
    checkRest(cut);
    return 0;
}
