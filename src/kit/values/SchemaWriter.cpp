#include "kova/kit/values/SchemaWriter.h"

#include <algorithm>

#include "Sessions.h"
#include "kova/core/MimeTypes.h"

// All values that are written here can be represented in JSON, so a call fails only if memory is
// exhausted. The writer then stores the failure, and `writeSchema` detects it.
namespace kova::kit::detail {

namespace {

class Object {
public:
    explicit Object(Writer& out) : out_(out) { out_.beginObject(); }
    ~Object() { out_.endObject(); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

private:
    Writer& out_;
};

}  // namespace

void SchemaWriter::field(std::string_view name, std::string_view value) {
    out_.beginField(name);
    out_.value(value);
    out_.endField();
}

void SchemaWriter::field(std::string_view name, std::uint64_t value) {
    out_.beginField(name);
    out_.value(value);
    out_.endField();
}

void SchemaWriter::open(std::string_view field, SchemaFunction function) {
    out_.beginField(field);
    {
        const Object object(out_);
        function(*this);
    }
    out_.endField();
}

void SchemaWriter::element(SchemaFunction function) {
    out_.beginElement();
    {
        const Object object(out_);
        function(*this);
    }
    out_.endElement();
}

void SchemaWriter::type(char const* name) {
    field("type", std::string_view(name));
}

void SchemaWriter::integer(std::int64_t lowest, std::uint64_t highest) {
    type("integer");
    out_.beginField("minimum");
    out_.value(lowest);
    out_.endField();
    field("maximum", highest);
}

void SchemaWriter::text(char const* words) {
    type("string");
    field("description", std::string_view(words));
}

void SchemaWriter::enumeration(const EnumTable& table) {
    type("string");
    // If there is a fallback, every text is accepted.
    out_.beginField(table.fallback == EnumTable::NO_FALLBACK ? "enum" : "examples");
    out_.beginArray();
    for (std::size_t i = 0; i < table.size; ++i) {
        out_.beginElement();
        out_.value(table.rows[i].name);
        out_.endElement();
    }
    out_.endArray();
    out_.endField();
}

void SchemaWriter::array(SchemaFunction element, std::size_t size) {
    type("array");
    open("items", element);
    if (size != ANY_SIZE) {
        field("minItems", size);
        field("maxItems", size);
    }
}

void SchemaWriter::map(SchemaFunction value) {
    type("object");
    open("additionalProperties", value);
}

void SchemaWriter::nullable(SchemaFunction value) {
    out_.beginField("anyOf");
    out_.beginArray();
    element(value);
    element(&SchemaOf<std::monostate>::write);
    out_.endArray();
    out_.endField();
}

void SchemaWriter::variant(const Alternative* alternatives, const SchemaFunction* functions,
                           std::size_t size) {
    out_.beginField("anyOf");
    out_.beginArray();
    for (std::size_t i = 0; i < size; ++i) {
        if (alternatives[i].name.empty()) {
            element(functions[i]);
            continue;
        }
        out_.beginElement();
        {
            const Object object(out_);
            const SchemaField entry{alternatives[i].name, true, functions[i]};
            define({{}, &entry, 1, true});
        }
        out_.endElement();
    }
    out_.endArray();
    out_.endField();
}

std::string SchemaWriter::unusedName(std::string_view name) const {
    const std::string first(name.empty() ? "object" : name);
    std::string unused = first;
    for (std::size_t number = 2;
         std::any_of(definitions_.begin(), definitions_.end(),
                     [&](const Definition& other) { return other.name == unused; });
         ++number) {
        unused = first + std::to_string(number);
    }
    return unused;
}

void SchemaWriter::object(const SchemaObject& object) {
    const auto known =
        std::find_if(definitions_.begin(), definitions_.end(),
                     [&](const Definition& other) { return other.object == &object; });
    if (known != definitions_.end()) {
        field("$ref", "#/$defs/" + known->name);
        return;
    }
    const std::string name = unusedName(object.name);
    definitions_.push_back({&object, name});
    field("$ref", "#/$defs/" + name);
}

void SchemaWriter::define(const SchemaObject& object) {
    type("object");
    out_.beginField("properties");
    {
        const Object properties(out_);
        for (std::size_t i = 0; i < object.size; ++i) {
            open(object.fields[i].name, object.fields[i].write);
        }
    }
    out_.endField();
    out_.beginField("required");
    out_.beginArray();
    for (std::size_t i = 0; i < object.size; ++i) {
        if (object.fields[i].isMandatory) {
            out_.beginElement();
            out_.value(object.fields[i].name);
            out_.endElement();
        }
    }
    out_.endArray();
    out_.endField();
    if (object.isStrict) {
        out_.beginField("additionalProperties");
        out_.value(false);
        out_.endField();
    }
}

void SchemaWriter::definitions() {
    if (definitions_.empty()) {
        return;
    }
    out_.beginField("$defs");
    {
        const Object all(out_);
        // Writing a definition may append further ones.
        // NOLINTNEXTLINE(modernize-loop-convert): iterators would become invalid
        for (std::size_t i = 0; i < definitions_.size(); ++i) {
            out_.beginField(definitions_[i].name);
            {
                const Object definition(out_);
                define(*definitions_[i].object);
            }
            out_.endField();
        }
    }
    out_.endField();
}

Payload writeSchema(SchemaFunction root) {
    PayloadWriter session(mimetypes::JSON_TYPE, Limits());
    Writer& out = session.writer();
    out.beginObject();
    out.beginField("$schema");
    out.value(std::string_view("https://json-schema.org/draft/2020-12/schema"));
    out.endField();
    SchemaWriter writer(out);
    root(writer);
    writer.definitions();
    out.endObject();
    if (!session.writer().end()) {
        out.error(statuscodes::INTERNAL_SERVER_ERROR).raise();
    }
    return session.payload();
}

}  // namespace kova::kit::detail
