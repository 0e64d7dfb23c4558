#include "api/MessageHeader.h"

#include <new>

#include "api/CompactPrint.h"
#include "formats/Trees.h"
#include "util/config/Scalars.h"

namespace kova::detail::messageheader {

namespace {

Header makeHeader() noexcept {
    try {
        return std::make_shared<util::config::Dictionary>();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

void add(Header& header, char const* key, util::config::Value* value) noexcept {
    if (value == nullptr) {
        return;
    }
    if (!header) {
        header = makeHeader();
    }
    if (!header) {
        trees::destroy(value);
    } else if (header->hasKey(key)) {
        header->set(key, value);
    } else {
        header->add(key, value);
    }
}

util::config::Value* makeString(std::string_view text) noexcept {
    try {
        return new (std::nothrow) util::config::ValueString(std::string(text));
    } catch (const std::bad_alloc&) {
        return nullptr;  // memory sufficed for the node, but not for its text
    }
}

void addString(Header& header, char const* key, std::string_view text) noexcept {
    add(header, key, makeString(text));
}

const util::config::Value& get(const Header& header) noexcept {
    return header ? *header : util::config::Value::getUndefined();
}

std::string print(const Header& header) {
    return header ? printCompact(*header) : std::string();
}

}  // namespace kova::detail::messageheader
