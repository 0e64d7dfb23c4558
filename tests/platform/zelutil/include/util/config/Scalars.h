#pragma once

#include <string>
#include <utility>

#include "util/config/Value.h"

namespace util::config {

/// An integer from -2^63 to 2^64 - 1.
class ValueInt : public Value {
public:
    explicit ValueInt(int value) : ValueInt(static_cast<long>(value)) {}
    explicit ValueInt(unsigned int value) : ValueInt(static_cast<long>(value)) {}
    explicit ValueInt(long value) : item_(Item::ofSigned(value)) {}
    explicit ValueInt(unsigned long value) : item_(Item::ofUnsigned(value)) {}

    bool isInt() const override { return true; }
    /// @{
    /// Fails if the value does not fit.
    bool get(int& out) const override;
    bool get(unsigned int& out) const override;
    /// @}
    /// @{
    /// Reads the value in two's complement.
    bool get(long& out) const override;
    bool get(unsigned long& out) const override;
    /// @}
    bool get(double& out) const override;
    using Value::get;

private:
    template <typename Target>
    bool getInRange(Target& out) const;
    Item item() const override { return item_; }

    Item item_;
};

/// A floating-point number.
class ValueFloat : public Value {
public:
    explicit ValueFloat(double value) : value_(value) {}

    bool isFloat() const override { return true; }
    using Value::get;
    bool get(double& out) const override;

private:
    Item item() const override;

    double value_;
};

/// A string of bytes.
class ValueString : public Value {
public:
    explicit ValueString(std::string text) : text_(std::move(text)) {}

    bool isString() const override { return true; }
    using Value::get;
    bool get(std::string& out) const override;
    bool get(UnicodeString8& out) const override;

private:
    Item item() const override;

    std::string text_;
};

/// A string of Unicode text.
class ValueUnicodeString : public Value {
public:
    explicit ValueUnicodeString(UnicodeString8 text) : text_(std::move(text)) {}

    bool isUnicodeString() const override { return true; }
    using Value::get;
    bool get(UnicodeString8& out) const override;

private:
    Item item() const override;

    UnicodeString8 text_;
};

}  // namespace util::config
