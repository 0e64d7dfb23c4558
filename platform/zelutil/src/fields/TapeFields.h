#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/Tape.h"
#include "util/serializer/FieldReader.h"

namespace util::serializer {

/// Reads typed values from a JSON document. `FieldReader` documents the functions. The text was
/// validated when the document was created.
class TapeFields {
public:
    using Kind = FieldReader::Kind;

    TapeFields(const config::Tape& tape, std::size_t depth) noexcept : tape_(tape), left_(depth) {}

    bool end() const noexcept { return at_ == tape_.after(config::Tape::ROOT); }

    Kind kind() const noexcept {
        switch (tape_.kind(at_)) {
            case 'n':
                return Kind::Null;
            case 't':
            case 'f':
                return Kind::Boolean;
            case 'l':
            case 'u':
            case 'd':
                return Kind::Number;
            case '"':
                return Kind::Text;
            case '[':
                return Kind::Array;
            case '{':
                return Kind::Object;
            default:
                return Kind::None;
        }
    }
    bool null() noexcept { return step('n'); }
    bool value(bool& out) noexcept {
        out = tape_.kind(at_) == 't';
        return out ? step('t') : step('f');
    }
    bool value(std::int64_t& out) noexcept {
        out = tape_.signedAt(at_);
        return step('l');
    }
    bool value(std::uint64_t& out) noexcept {
        const char kind = tape_.kind(at_);
        out = tape_.unsignedAt(at_);
        return kind == 'u' ? step('u') : tape_.signedAt(at_) >= 0 && step('l');
    }
    bool value(double& out) noexcept {
        switch (tape_.kind(at_)) {
            case 'd':
                out = tape_.realAt(at_);
                return step('d');
            case 'l':
                out = static_cast<double>(tape_.signedAt(at_));
                return step('l');
            default:
                out = static_cast<double>(tape_.unsignedAt(at_));
                return step('u');
        }
    }
    bool value(float& out) noexcept {
        double wide = 0;
        if (!value(wide)) {
            return false;
        }
        out = static_cast<float>(wide);
        return !std::isinf(out);  // JSON text contains no infinities
    }
    bool text(std::string_view& out) noexcept {
        if (tape_.kind(at_) != '"') {
            return false;
        }
        out = tape_.text(at_);
        return step('"');
    }
    bool beginArray() noexcept { return enter('['); }
    bool beginObject() noexcept { return enter('{'); }
    bool atEnd() const noexcept { return tape_.kind(at_) == ']' || tape_.kind(at_) == '}'; }
    static bool endItem() noexcept { return true; }
    bool endContainer() noexcept {
        ++at_;
        ++left_;
        return true;
    }
    bool beginField(std::string_view& name) noexcept { return text(name); }
    bool skipValue() noexcept {
        if (tape_.depthOf(at_) > left_) {
            return false;
        }
        at_ = tape_.after(at_);
        return true;
    }

private:
    // Advances past the next word if it is of the given kind. Returns whether it is of this kind.
    bool step(char kind) noexcept {
        if (tape_.kind(at_) != kind) {
            return false;
        }
        at_ = tape_.next(at_);
        return true;
    }
    bool enter(char kind) noexcept {
        if (left_ == 0 || !step(kind)) {
            return false;
        }
        --left_;
        return true;
    }

    config::Tape tape_;
    std::size_t at_ = config::Tape::ROOT;
    std::size_t left_;  // number of levels that may still be opened
};

}  // namespace util::serializer
