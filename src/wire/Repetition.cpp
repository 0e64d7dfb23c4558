#include "wire/Repetition.h"

#include <string>

#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"
#include "kova/kit/Command.h"

namespace kova::wire {

namespace {

bool asksForStream(const Request& request) {
    std::string semantic;
    return !request.getHeaderValue(headers::RESPONSE_SEMANTIC).get(semantic) &&
           semantic == headers::PERSISTENT_STREAM;
}

}  // namespace

// The header is only read if it matters, because reading it takes time on each request.
Repetition::Repetition(const Request& request, bool retries, bool resubscribes) {
    if ((retries || resubscribes) && request.getCommand() == kit::command::retrieve) {
        isRetried_ = retries;
        isResubscribed_ = resubscribes;
        isStream_ = resubscribes && asksForStream(request);
    }
}

void Repetition::onValue(const Response& value) noexcept {
    hasValue_ = true;
    wasAnswered_ = true;
    isStream_ = value.getStatusCode() == statuscodes::STREAM;
}

void Repetition::onRepeat() noexcept {
    hasValue_ = false;
    ++retries_;
}

}  // namespace kova::wire
