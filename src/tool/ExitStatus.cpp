#include "ExitStatus.h"

#include <string_view>

#include "kova/core/StatusCodes.h"

namespace kova::tool {

namespace {

// Transports begin the reasons of lost requests with this word,
constexpr std::string_view LOST = "lost: ";
// and those of requests to a service that nobody serves at the broker with these words.
constexpr std::string_view NO_SERVER = "no server of ";

bool isLost(const kit::Error& error) {
    const auto begins = [&error](std::string_view text) {
        return error.message.compare(0, text.size(), text) == 0;
    };
    return error.code == statuscodes::SERVICE_UNAVAILABLE && (begins(LOST) || begins(NO_SERVER));
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
