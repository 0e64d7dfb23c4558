#include "util/Item.h"

#include <utility>

namespace util {

Item Item::ofBoolean(bool value) {
    Item item(Kind::Boolean);
    item.boolean = value;
    return item;
}

Item Item::ofSigned(std::int64_t value) {
    Item item(Kind::Signed);
    item.integer = static_cast<std::uint64_t>(value);
    return item;
}

Item Item::ofUnsigned(std::uint64_t value) {
    Item item(value > INT64_MAX ? Kind::Unsigned : Kind::Signed);
    item.integer = value;
    return item;
}

Item Item::ofNumber(double value) {
    Item item(Kind::Number);
    item.number = value;
    return item;
}

Item Item::ofString(std::string value) {
    Item item(Kind::String);
    item.text = std::move(value);
    return item;
}

bool Item::operator==(const Item& other) const {
    return kind == other.kind && boolean == other.boolean && integer == other.integer &&
           number == other.number && text == other.text && names == other.names &&
           items == other.items;
}

}  // namespace util
