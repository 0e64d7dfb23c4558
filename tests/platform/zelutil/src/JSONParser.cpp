#include "util/config/JSONParser.h"

#include "FromItem.h"

namespace util::config {

bool JSONParser::parseString(char const* text, Dictionary** dictionary, Array** array) {
    const std::optional<Item> item = readJson(text);
    if (!item) {
        return true;
    }
    *dictionary = nullptr;
    *array = nullptr;
    if (item->kind == Item::Kind::Struct) {
        *dictionary = static_cast<Dictionary*>(fromItem(*item, unicodeStrings_));
    } else if (item->kind == Item::Kind::Array) {
        *array = static_cast<Array*>(fromItem(*item, unicodeStrings_));
    }
    return false;
}

}  // namespace util::config
