#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "servicecomposition/MountIndex.h"

namespace kova::detail {

/// A table of the resource handlers of a service, keyed by mount path. It finds the handler that
/// serves a path.
///
/// The table does not change until `clear`, so any thread may search it without a lock.
class MountTable {
public:
    using Handlers = std::map<std::string, std::unique_ptr<IResourceHandler>>;
    /// A mount path and its handler.
    using Mount = Handlers::value_type;

    /// Takes ownership of the handlers.
    explicit MountTable(Handlers&& handlers);
    MountTable(const MountTable&) = delete;
    MountTable& operator=(const MountTable&) = delete;

    /// Returns the mount at exactly this path, or null. The empty text is never a mount.
    const Mount* at(std::string_view path) const noexcept;

    /// Returns the mount at the path or at its nearest ancestor, or null. The path itself is looked
    /// up verbatim, except for trailing separators. The ancestors are those of the normalized path.
    const Mount* find(std::string_view path) const noexcept;

    /// Returns the mount paths in ascending order.
    std::vector<std::string> paths() const;

    /// Destroys the handlers. Their destructors may search the table, which is then empty.
    void clear() noexcept;

private:
    const Mount* findAncestor(std::string_view path) const noexcept;

    Handlers handlers_;
    /// An index of the mounts in `handlers_` whose path is not empty.
    MountIndex index_;
    std::size_t longest_ = 0;
};

}  // namespace kova::detail
