#include "servicecomposition/MountTable.h"

#include <algorithm>
#include <utility>

#include "datatypes/PathViews.h"

namespace kova::detail {

MountTable::MountTable(Handlers&& handlers) : handlers_(std::move(handlers)) {
    std::vector<const Mount*> mounts;
    mounts.reserve(handlers_.size());
    for (const Mount& mount : handlers_) {
        if (!mount.first.empty()) {
            mounts.push_back(&mount);
            longest_ = std::max(longest_, mount.first.size());
        }
    }
    index_ = MountIndex(mounts);
}

const MountTable::Mount* MountTable::at(std::string_view path) const noexcept {
    // A path longer than every mount path is not hashed. Hashing all ancestors of a long path would
    // take quadratic time.
    return path.size() <= longest_ ? index_.find(path) : nullptr;
}

const MountTable::Mount* MountTable::find(std::string_view path) const noexcept {
    const std::string_view text = withoutTrailingSeparators(path);
    if (const Mount* const mount = at(text)) {
        return mount;
    }
    // Prefixes longer than the longest mount path cannot match. Skipping them is 33 % faster among
    // 10 mounts, and makes the time independent of the length of the path.
    const bool isOpen = hasTrailingSeparator(text);
    const std::string_view head = isOpen ? text : text.substr(0, longest_ + 1);
    if (isOpen || hasEmptySegment(head)) {
        return findAncestor(Path(std::string(path)).toString());
    }
    return findAncestor(head);
}

const MountTable::Mount* MountTable::findAncestor(std::string_view path) const noexcept {
    for (auto ancestor = parentPath(path); !ancestor.empty(); ancestor = parentPath(ancestor)) {
        if (const Mount* const mount = at(ancestor)) {
            return mount;
        }
    }
    return nullptr;
}

std::vector<std::string> MountTable::paths() const {
    std::vector<std::string> paths;
    paths.reserve(handlers_.size());
    for (const Mount& mount : handlers_) {
        paths.push_back(mount.first);
    }
    return paths;
}

void MountTable::clear() noexcept {
    index_.clear();
    handlers_.clear();
}

}  // namespace kova::detail
