#pragma once

#include <string>
#include <vector>

#include "kova/core/MimeTypes.h"
#include "kova/kit/values/Reader.h"
#include "util/config/Value.h"

namespace kova::kit::detail {

/// The reader of a value tree. Its checks of numbers are the same as for payloads.
class TreeReader final : public Reader {
public:
    /// Creates a reader of `root`. The tree must stay alive and unchanged.
    TreeReader(const util::config::Value& root, const Limits& limits)
        : Reader(limits), node_(&root) {}

    Kind kind() override;
    bool null() override;
    bool value(bool& out) override;
    bool value(std::int8_t& out) override;
    bool value(std::uint8_t& out) override;
    bool value(std::int16_t& out) override;
    bool value(std::uint16_t& out) override;
    bool value(std::int32_t& out) override;
    bool value(std::uint32_t& out) override;
    bool value(std::int64_t& out) override;
    bool value(std::uint64_t& out) override;
    bool value(float& out) override;
    bool value(double& out) override;
    bool value(std::string& out) override;
    bool text(std::string_view& out) override;

    bool values(std::vector<bool>& out) override;
    bool values(std::vector<std::int8_t>& out) override;
    bool values(std::vector<std::uint8_t>& out) override;
    bool values(std::vector<std::int16_t>& out) override;
    bool values(std::vector<std::uint16_t>& out) override;
    bool values(std::vector<std::int32_t>& out) override;
    bool values(std::vector<std::uint32_t>& out) override;
    bool values(std::vector<std::int64_t>& out) override;
    bool values(std::vector<std::uint64_t>& out) override;
    bool values(std::vector<float>& out) override;
    bool values(std::vector<double>& out) override;

    bool beginArray() override;
    bool atArrayEnd() override;
    bool beginElement() override;
    bool endElement() override;
    bool endArray() override;

    bool beginObject() override;
    bool atObjectEnd() override;
    bool beginField(std::string_view& name) override;
    bool skipField() override;
    bool endField() override;
    bool endObject() override;

    bool copyScalar(Writer& out) override;
    char const* mimeType() const noexcept override { return mimetypes::JSON_TYPE; }

private:
    /// An array or object that is being read.
    struct Level {
        util::config::Value const* node;
        unsigned long index;               // the index of the next element
        util::config::ConstIterator next;  // the next field
    };

    std::optional<std::size_t> position() override { return std::nullopt; }
    /// Describes the failure that the node does not have the expected kind, and returns false.
    bool refuseNode(char const* expected);
    template <typename T>
    bool integer(T& out, char const* expected);
    template <typename T>
    bool readAll(std::vector<T>& out);
    bool begin();
    bool end();

    util::config::Value const* node_;
    std::vector<Level> open_;  // outermost first
};

}  // namespace kova::kit::detail
