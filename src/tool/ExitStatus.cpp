#include "ExitStatus.h"

#include <string_view>

#include "kova/core/StatusCodes.h"

namespace kova::tool {

namespace {

// `kova::http::connect` begins the reasons of lost requests with this word.
constexpr std::string_view LOST = "lost: ";

bool isLost(const kit::Error& error) {
    return error.code == statuscodes::SERVICE_UNAVAILABLE &&
           error.message.compare(0, LOST.size(), LOST) == 0;
}

ExitStatus statusOf(const kit::Error& error) {
    if (isLost(error)) {
        return NO_SERVICE;
    }
    return error.code >= 400 && error.code < 500 ? REFUSED : FAILED;
}

}  // namespace

ExitStatus exitStatusOf(const kit::End& end) {
    switch (end.kind()) {
        case kit::End::Kind::completed:
            return DONE;
        case kit::End::Kind::failed:
            return statusOf(end.error());
        case kit::End::Kind::timedOut:
            return TIMED_OUT;
        case kit::End::Kind::cancelled:
            return INTERRUPTED;
        case kit::End::Kind::lost:
            return NO_SERVICE;
        case kit::End::Kind::dropped:
        case kit::End::Kind::refused:
            break;
    }
    return FAILED;
}

}  // namespace kova::tool
