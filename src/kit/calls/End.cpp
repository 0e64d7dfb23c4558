#include "kova/kit/End.h"

#include "kova/kit/Receiver.h"

namespace kova::kit {

namespace {

constexpr char const* WORDS[] = {"completed", "failed",    "dropped", "refused",
                                 "cancelled", "timed out", "lost"};
static_assert(sizeof WORDS / sizeof *WORDS == static_cast<int>(End::Kind::lost) + 1);

}  // namespace

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
