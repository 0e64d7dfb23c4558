#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tracing/Channel.h"
#include "zel/Export.h"

namespace tracing {

/// The process-wide registry of trace channels: finds them by name, shares them by reference count
/// and sets their levels by pattern.
///
/// Any thread may call any function. No function calls user code while it holds the registry's
/// lock.
///
///     tracing::SharedChannelMap::instance().setLevel("KOVA_*", 2);
class ZEL_API SharedChannelMap {
public:
    /// Returns the registry of the process. It is created on first use and never destroyed.
    static SharedChannelMap& instance();
    ~SharedChannelMap() = delete;

    /// Returns the shared channel with this name, and adds a reference to it. The first call
    /// creates the channel, which is silent unless a level was set for its name. The registry owns
    /// the channel; `unmap` releases the reference. A channel with the same name that was
    /// constructed elsewhere is a different channel. Never returns null.
    Channel* map(const std::string& name);
    /// Releases one reference to the shared channel with this name. Releasing the last reference
    /// destroys the channel. Does nothing if the name is not mapped.
    void unmap(const std::string& name);

    /// Sets the level of all existing and future channels whose names match `pattern`. In a pattern
    /// "*" matches any text, and every other character matches itself. A later call overrides an
    /// earlier one. Returns the number of existing channels that matched.
    std::size_t setLevel(std::string_view pattern, int level);
    /// Returns the names and levels of all existing channels, in ascending order of their names. A
    /// name occurs once for each channel with this name.
    std::vector<std::pair<std::string, int>> levels() const;
    /// Applies a list of the form "PATTERN=LEVEL[,PATTERN=LEVEL…]". The environment variable
    /// ZEL_TRACE has the same form and is applied when the registry is created. Returns false on
    /// success. Returns true if an item is malformed; the well-formed items are still applied.
    [[nodiscard]] bool configure(std::string_view list);

private:
    friend class Channel;
    ZEL_LOCAL SharedChannelMap();
    ZEL_LOCAL void add(Channel& channel);
    ZEL_LOCAL void remove(Channel& channel) noexcept;

    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tracing
