#pragma once

#include <string>
#include <vector>

#include "kova/kit/Tree.h"
#include "kova/kit/values/Writer.h"
#include "util/config/Value.h"

namespace kova::kit::detail {

/// The writer of a value tree.
class TreeWriter final : public Writer {
public:
    explicit TreeWriter(const Limits& limits = {}) : Writer(limits) {}

    /// Returns the tree that was written.
    Tree take() noexcept { return std::move(root_); }

    bool null() override;
    bool value(bool value) override;
    bool value(std::int8_t value) override;
    bool value(std::uint8_t value) override;
    bool value(std::int16_t value) override;
    bool value(std::uint16_t value) override;
    bool value(std::int32_t value) override;
    bool value(std::uint32_t value) override;
    bool value(std::int64_t value) override;
    bool value(std::uint64_t value) override;
    bool value(float value) override;
    bool value(double value) override;
    bool value(std::string_view value) override;

    bool values(const std::vector<bool>& values) override;
    bool values(const std::vector<std::int8_t>& values) override;
    bool values(const std::vector<std::uint8_t>& values) override;
    bool values(const std::vector<std::int16_t>& values) override;
    bool values(const std::vector<std::uint16_t>& values) override;
    bool values(const std::vector<std::int32_t>& values) override;
    bool values(const std::vector<std::uint32_t>& values) override;
    bool values(const std::vector<std::int64_t>& values) override;
    bool values(const std::vector<std::uint64_t>& values) override;
    bool values(const std::vector<float>& values) override;
    bool values(const std::vector<double>& values) override;

    bool beginArray() override;
    bool beginElement() override { return true; }
    bool endElement() override { return true; }
    bool endArray() override;

    bool beginObject() override;
    bool beginField(std::string_view name) override;
    bool endField() override { return true; }
    bool endObject() override;

private:
    std::optional<std::size_t> position() override { return std::nullopt; }
    /// Adds a node to the innermost array or object. Takes ownership of it.
    bool add(util::config::Value* node);
    bool begin(util::config::Value* container);
    template <typename T>
    bool addAll(const std::vector<T>& values);

    Tree root_;
    std::vector<util::config::Value*> open_;  // arrays and objects, outermost first
    std::string name_;                        // the name of the current field
};

}  // namespace kova::kit::detail
