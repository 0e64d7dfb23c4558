// A URL is cut into pieces of its text, which keep their order.
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
                 "path, query and fragment make the rest");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text = Input(data, size).rest();
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
    checkRest(cut);
    return 0;
}
