#include "tracing/client_helper.h"

#include <mutex>

namespace tracing::client_helper {

namespace {

struct Identity {
    std::once_flag set;
    std::string id;
};

// Never destroyed, because callers may hold references to the text until the process ends.
Identity& identity() {
    static auto* const instance = new Identity();
    return *instance;
}

}  // namespace

const std::string& getClientId() noexcept {
    return identity().id;
}

void setClientId(const std::string& id) {
    std::call_once(identity().set, [&id] { identity().id = id; });
}

}  // namespace tracing::client_helper
