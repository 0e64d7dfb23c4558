#include <fmt/format.h>
#include <simdjson.h>

#include <cmath>

#include "util/Item.h"
#include "zel/unicode/String.h"

namespace util {

namespace {

Item toItem(simdjson::dom::element element);

Item toArray(simdjson::dom::array array) {
    Item item(Item::Kind::Array);
    for (const simdjson::dom::element element : array) {
        item.items.push_back(toItem(element));
    }
    return item;
}

Item toStruct(simdjson::dom::object object) {
    Item item(Item::Kind::Struct);
    for (const auto& field : object) {
        item.names.emplace_back(field.key);
        item.items.push_back(toItem(field.value));
    }
    return item;
}

Item toItem(simdjson::dom::element element) {
    switch (element.type()) {
        case simdjson::dom::element_type::ARRAY:
            return toArray(element.get_array().value_unsafe());
        case simdjson::dom::element_type::OBJECT:
            return toStruct(element.get_object().value_unsafe());
        case simdjson::dom::element_type::INT64:
            return Item::ofSigned(element.get_int64().value_unsafe());
        case simdjson::dom::element_type::UINT64:
            return Item::ofUnsigned(element.get_uint64().value_unsafe());
        case simdjson::dom::element_type::DOUBLE:
            return Item::ofNumber(element.get_double().value_unsafe());
        case simdjson::dom::element_type::STRING:
            return Item::ofString(std::string(element.get_string().value_unsafe()));
        case simdjson::dom::element_type::BOOL:
            return Item::ofBoolean(element.get_bool().value_unsafe());
        case simdjson::dom::element_type::NULL_VALUE:
            break;
    }
    return Item();
}

/// Writes one item with its content.
class JsonWriter {
public:
    JsonWriter(bool compact, bool strict, std::string& out)
        : compact_(compact), strict_(strict), out_(out) {}

    bool write(const Item& item) {
        switch (item.kind) {
            case Item::Kind::Undefined:
            case Item::Kind::Null:
                out_ += "null";
                return false;
            case Item::Kind::Boolean:
                out_ += item.boolean ? "true" : "false";
                return false;
            case Item::Kind::Signed:
                out_ += std::to_string(static_cast<std::int64_t>(item.integer));
                return false;
            case Item::Kind::Unsigned:
                out_ += std::to_string(item.integer);
                return false;
            case Item::Kind::Number:
                return writeNumber(item.number);
            case Item::Kind::String:
            case Item::Kind::UnicodeString:
                return writeText(item.text);
            case Item::Kind::Array:
                return writeContainer(item, '[', ']');
            case Item::Kind::Struct:
                return writeContainer(item, '{', '}');
        }
        return true;
    }

private:
    bool writeNumber(double number) {
        if (!std::isfinite(number)) {
            out_ += "null";
            return strict_;
        }
        const std::string text = fmt::format("{}", number);
        out_ += text;
        if (text.find_first_of(".e") == std::string::npos) {
            out_ += ".0";
        }
        return false;
    }

    bool writeText(const std::string& text) {
        const bool isUtf8 = zel::unicode::isUtf8(text);
        out_ += '"';
        for (const char byte : text) {
            const auto code = static_cast<unsigned char>(byte);
            if (byte == '"' || byte == '\\') {
                out_ += '\\';
                out_ += byte;
            } else if (code < 0x20) {
                out_ += fmt::format("\\u{:04x}", code);
            } else {
                out_ += !isUtf8 && code >= 0x80 ? "\xEF\xBF\xBD" : std::string(1, byte);
            }
        }
        out_ += '"';
        return !isUtf8 && strict_;
    }

    bool writeContainer(const Item& item, char begin, char end) {
        bool failed = false;
        out_ += begin;
        ++depth_;
        for (std::size_t i = 0; i < item.items.size(); ++i) {
            out_ += i == 0 ? "" : ",";
            breakLine();
            if (item.kind == Item::Kind::Struct) {
                failed = writeText(item.names[i]) || failed;
                out_ += compact_ ? ":" : ": ";
            }
            failed = write(item.items[i]) || failed;
        }
        --depth_;
        if (!item.items.empty()) {
            breakLine();
        }
        out_ += end;
        return failed;
    }

    void breakLine() {
        if (!compact_) {
            out_ += '\n' + std::string(2 * depth_, ' ');
        }
    }

    bool compact_;
    bool strict_;
    std::string& out_;
    std::size_t depth_ = 0;
};

}  // namespace

std::optional<Item> readJson(const std::string& text) {
    simdjson::dom::parser parser;
    // The JSON library counts a single scalar as one level.
    if (parser.allocate(text.size(), MAX_NESTING_DEPTH + 1) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    simdjson::dom::element root;
    if (parser.parse(text).get(root) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return toItem(root);
}

bool writeJson(const Item& item, bool compact, bool strict, std::string& out) {
    return JsonWriter(compact, strict, out).write(item);
}

}  // namespace util
