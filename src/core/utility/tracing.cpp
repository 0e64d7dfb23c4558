#include "kova/core/tracing.h"

#include <algorithm>
#include <mutex>

#include "kova/core/Path.h"
#include "osal/Mutex.h"
#include "tracing/SharedChannelMap.h"
#include "tracing/client_helper.h"

namespace kova::tracing {

namespace {

// Returns the lock of the registry. It is never destroyed, because static destructors may release
// channels.
osal::Mutex& mutex() {
    static auto* const instance = new osal::Mutex();
    return *instance;
}

}  // namespace

::tracing::Channel* bindTraceChannel(const std::string& name) {
    const std::lock_guard<osal::Mutex> guard(mutex());
    return ::tracing::SharedChannelMap::instance().map(name);
}

void releaseTraceChannel(::tracing::Channel*& channel) {
    const std::lock_guard<osal::Mutex> guard(mutex());
    // A copy of the name, because releasing the last binding destroys the channel.
    const std::string name = channel->name();
    ::tracing::SharedChannelMap::instance().unmap(name);
    channel = nullptr;
}

std::string serviceToChannelPath(const std::string& servicePath) {
    std::string path = servicePath.substr(Path::isAbsolute(servicePath) ? 1 : 0);
    std::replace(path.begin(), path.end(), Path::SEP_CHAR, '_');
    return path;
}

const std::string& getTraceClientId() {
    static const auto* const unknown = new std::string("unknown");
    const std::string& id = ::tracing::client_helper::getClientId();
    return id.empty() ? *unknown : id;
}

}  // namespace kova::tracing
