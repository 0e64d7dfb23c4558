#include "kova/kit/End.h"

#include <string_view>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Receiver.h"

namespace kova::kit {

namespace {

constexpr char const* WORDS[] = {"completed", "failed",    "dropped", "refused",
                                 "cancelled", "timed out", "lost"};
static_assert(sizeof WORDS / sizeof *WORDS == static_cast<int>(End::Kind::lost) + 1);

bool isLoss(const Response& error) {
    constexpr std::string_view BEGIN = LOST_MESSAGE;
    std::string message;
    return error.getStatusCode() == statuscodes::SERVICE_UNAVAILABLE &&
           !error.getErrorMessage(message) && message.compare(0, BEGIN.size(), BEGIN) == 0;
}

}  // namespace

End::End(Response error) noexcept
    : kind_(isLoss(error) ? Kind::lost : Kind::failed), response_(std::move(error)) {}

char const* toString(End::Kind kind) noexcept {
    return WORDS[static_cast<int>(kind)];
}

std::string End::toString() const {
    std::string text = kit::toString(kind_);
    if (!ok()) {
        text += ": " + error().toString();
    }
    return text;
}

Receiver::~Receiver() = default;

}  // namespace kova::kit
