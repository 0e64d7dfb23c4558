#include <utility>

#include "kova/kit/Middleware.h"

namespace kova::kit {

Chain::Function authorize(std::function<bool(const Request& request, const Peer& peer)> isAllowed) {
    return [isAllowed = std::move(isAllowed)](Ask& ask, Next next) {
        return isAllowed(ask.request(), ask.peer())
                   ? next(ask)
                   : refuse(statuscodes::FORBIDDEN, "the peer is not allowed to do this");
    };
}

}  // namespace kova::kit
