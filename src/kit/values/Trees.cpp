#include "kova/kit/values/Trees.h"

#include <string>
#include <vector>

#include "Sessions.h"
#include "TreeReader.h"
#include "TreeWriter.h"
#include "kova/kit/values/Writer.h"
#include "util/config/Dictionary.h"

namespace kova::kit::detail {

namespace {

/// An array or object that is being copied.
struct Level {
    bool isObject = false;
    bool hasItem = false;   // whether an element or field was begun
    std::size_t index = 0;  // the index of the current element
    std::string name;       // the name of the current field
};

/// Copies a value without recursion: the open arrays and objects are in an explicit stack.
class Copy {
public:
    Copy(Reader& in, Writer& out) : in_(in), out_(out) {}

    bool run() {
        if (!begin()) {
            return describe();
        }
        while (!levels_.empty()) {
            if (!step()) {
                return describe();
            }
        }
        return true;
    }

private:
    /// Copies a scalar, or begins an array or object.
    bool begin() {
        const Kind kind = in_.kind();
        if (kind != Kind::Array && kind != Kind::Object) {
            return in_.copyScalar(out_);
        }
        const bool isObject = kind == Kind::Object;
        if (!in_.enter() || !(isObject ? in_.beginObject() : in_.beginArray()) || !out_.enter() ||
            !(isObject ? out_.beginObject() : out_.beginArray())) {
            return false;
        }
        levels_.emplace_back().isObject = isObject;
        return true;
    }

    /// Copies the next element or field of the innermost level, or ends the level.
    bool step() {
        Level& level = levels_.back();
        if (level.isObject ? in_.atObjectEnd() : in_.atArrayEnd()) {
            return end(level.isObject);
        }
        if (!in_.count(1)) {
            return false;
        }
        const std::size_t before = levels_.size();
        level.hasItem = true;
        if (level.isObject ? !beginField(level) : !in_.beginElement() || !out_.beginElement()) {
            return false;
        }
        return begin() && (levels_.size() > before || endItem());
    }

    bool beginField(Level& level) {
        std::string_view name;
        if (!in_.beginField(name)) {
            return false;
        }
        level.name = name;
        return in_.checkText(name.size()) && out_.beginField(name);
    }

    bool end(bool isObject) {
        levels_.pop_back();
        in_.leave();
        out_.leave();
        return (isObject ? in_.endObject() && out_.endObject()
                         : in_.endArray() && out_.endArray()) &&
               (levels_.empty() || endItem());
    }

    /// Ends the element or field of the innermost level.
    bool endItem() {
        Level& level = levels_.back();
        level.hasItem = false;
        if (level.isObject) {
            return in_.endField() && out_.endField();
        }
        ++level.index;
        return in_.endElement() && out_.endElement();
    }

    /// Prepends the fields and indexes of the open levels to the path of the failure.
    bool describe() {
        for (std::size_t i = levels_.size(); i-- > 0;) {
            const Level& level = levels_[i];
            if (!level.hasItem) {
                continue;
            }
            if (level.isObject) {
                in_.inField(level.name);
                out_.inField(level.name);
            } else {
                in_.inElement(level.index);
                out_.inElement(level.index);
            }
        }
        return false;
    }

    Reader& in_;
    Writer& out_;
    std::vector<Level> levels_;
};

/// Reads a value into a tree.
bool readInto(Reader& in, TreeWriter& out) {
    return copyValue(in, out) || in.adopt(out);
}

}  // namespace

bool copyValue(Reader& in, Writer& out) {
    return Copy(in, out).run();
}

bool readTree(Reader& in, Tree& out) {
    TreeWriter writer;
    if (!readInto(in, writer)) {
        return false;
    }
    out = writer.take();
    return true;
}

bool readTree(Reader& in, util::config::Dictionary& out) {
    TreeWriter writer;
    if (in.kind() != Kind::Object) {
        return in.beginObject();  // fails with the reason
    }
    if (!readInto(in, writer)) {
        return false;
    }
    writer.take()->getEditableDictionary()->swap(out);
    return true;
}

bool readTree(Reader& in, Payload& out) {
    PayloadWriter session(in.mimeType(), Limits());
    if (!copyValue(in, session.writer()) || !session.writer().end()) {
        return in.adopt(session.writer());
    }
    out = session.payload();
    return true;
}

bool writeTree(Writer& out, const util::config::Value& value) {
    TreeReader reader(value, Limits());
    return copyValue(reader, out) || out.adopt(reader);
}

bool writeTree(Writer& out, const Tree& value) {
    return value == nullptr ? out.null() : writeTree(out, *value);
}

bool writeTree(Writer& out, const Payload& value) {
    PayloadReader session(value, Limits());
    if (!session.isKnown()) {
        return out.refuse("a payload of JSON or binary structured data",
                          State::quoted(value.getMimeType()));
    }
    return (session.begin() && copyValue(session.reader(), out) && session.reader().end()) ||
           out.adopt(session.reader());
}

}  // namespace kova::kit::detail
