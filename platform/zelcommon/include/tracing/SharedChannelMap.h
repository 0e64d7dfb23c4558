#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "tracing/Channel.h"
#include "zel/Export.h"

namespace tracing {

/// The process-wide register of trace channels: finds them by name, shares them by reference count
/// and sets their levels by pattern.
///
/// All operations are safe from any thread; none calls back.
class ZEL_API SharedChannelMap {
public:
    /// The one register of the process; made on first use, never destroyed.
    static SharedChannelMap& instance();
    ~SharedChannelMap() = delete;

    /// The shared channel of that name: made silent on the first call, counted on each further one.
    /// The register owns it; a channel of the same name that somebody else made stays apart. Never
    /// null.
    Channel* map(const std::string& name);
    /// Takes one reference off the shared channel of that name and destroys it with the last; a
    /// name that is not mapped is left alone.
    void unmap(const std::string& name);

    /// Sets the level of every channel whose name fits `pattern`, present and future ("*" stands
    /// for any text, everything else for itself; a later call wins over an earlier one). Returns
    /// how many present channels were set.
    std::size_t setLevel(std::string_view pattern, int level);
    /// Applies a list "PATTERN=LEVEL[,PATTERN=LEVEL…]", the form of the environment variable
    /// ZEL_TRACE, which is applied once when the register is made. False on success; true when a
    /// piece is malformed (the well-formed ones are applied all the same).
    [[nodiscard]] bool configure(std::string_view list);

private:
    friend class Channel;
    SharedChannelMap();
    void add(Channel& channel);
    void remove(Channel& channel) noexcept;

    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tracing
