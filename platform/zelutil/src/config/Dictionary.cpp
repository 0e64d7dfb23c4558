#include "util/config/Dictionary.h"

#include "config/Cursor.h"
#include "config/NodeBlocks.h"

namespace util::config {

Dictionary::~Dictionary() {
    destroyChildren();
}

void Dictionary::clear() noexcept {
    destroyChildren();
    entries_.clear();
}

bool Dictionary::add(char const* key, Value* value) noexcept {
    if (key == nullptr) {
        destroy(value);
        return true;
    }
    return add(std::string_view(key), value);
}

bool Dictionary::add(std::string_view key, Value* value) noexcept {
    return value == nullptr || put(entries_.slot(key), value);
}

bool Dictionary::append(std::string_view key, Value* value) noexcept {
    if (value == nullptr) {
        return true;
    }
    Value** const place = entries_.append(key);
    if (place == nullptr) {
        destroy(value);
        return true;
    }
    *place = value;
    return false;
}

// Stores the child at `place`, the address of a child pointer in the list. A null `place` means
// that memory was exhausted: the child is then destroyed, and true is returned.
bool Dictionary::put(Value** place, Value* value) noexcept {
    if (place == nullptr) {
        destroy(value);
        return true;
    }
    if (*place != value) {
        destroy(*place);
        *place = value;
    }
    return false;
}

bool Dictionary::set(char const* key, Value* value) noexcept {
    return add(key, value);
}

bool Dictionary::set(std::string_view key, Value* value) noexcept {
    return add(key, value);
}

bool Dictionary::remove(char const* key, bool destroy) noexcept {
    return key == nullptr || remove(std::string_view(key), destroy);
}

bool Dictionary::remove(std::string_view key, bool destroy) noexcept {
    const auto entry = entries_.find(key);
    if (entry == entries_.end()) {
        return true;
    }
    Value* child = entry->second;
    entries_.erase(entry);
    if (destroy) {
        Value::destroy(child);
    }
    return false;
}

Value** Dictionary::destroyLeaves(NodeReleases& releases) noexcept {
    do {
        Entries::Page& page = entries_.lastPage();
        while (!page.empty()) {
            Value*& child = page.back().second;
            if (isContainer(*child)) {
                return &child;
            }
            releases.destroyLeaf(child);
            page.popBack();
        }
    } while (entries_.dropLastPage());
    return nullptr;
}

Value* Dictionary::popChild() noexcept {
    return entries_.lastPage().popBack();
}

}  // namespace util::config
