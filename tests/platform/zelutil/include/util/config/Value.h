#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <type_traits>

#include "util/Item.h"
#include "util/UnicodeString.h"

namespace util::config {

class Array;
class Dictionary;
class Value;

/// The entries of a dictionary.
using Entries = std::map<std::string, Value*>;

/// A node of a tree of generic data. Every read returns false on success and true on failure.
class Value {
public:
    virtual ~Value() = default;
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    virtual bool isDictionary() const { return false; }
    virtual bool isArray() const { return false; }
    virtual bool isString() const { return false; }
    virtual bool isUnicodeString() const { return false; }
    virtual bool isInt() const { return false; }
    virtual bool isFloat() const { return false; }
    virtual bool isNull() const { return false; }
    virtual bool isBool() const { return false; }
    bool isValue() const {
        return isString() || isUnicodeString() || isInt() || isFloat() || isNull() || isBool();
    }

    bool hasKey(char const* key) const { return hasKey(std::string(key)); }
    bool hasKey(const std::string& key) const;
    const Value& operator[](char const* key) const { return (*this)[std::string(key)]; }
    const Value& operator[](const std::string& key) const;
    const Value& operator[](unsigned long index) const;
    /// Returns the element at an index of any other integer type. Without this overload, `value[0]`
    /// would look up a null key.
    template <typename Index, typename = std::enable_if_t<std::is_integral_v<Index>>>
    const Value& operator[](Index index) const {
        return (*this)[static_cast<unsigned long>(index)];
    }
    unsigned long arraySize() const;

    virtual bool get(int& /*out*/) const { return true; }
    virtual bool get(unsigned int& /*out*/) const { return true; }
    virtual bool get(long& /*out*/) const { return true; }
    virtual bool get(unsigned long& /*out*/) const { return true; }
    virtual bool get(double& /*out*/) const { return true; }
    virtual bool get(bool& /*out*/) const { return true; }
    virtual bool get(std::string& /*out*/) const { return true; }
    virtual bool get(UnicodeString8& /*out*/) const { return true; }

    Dictionary* getEditableDictionary() const;
    Dictionary* getEditableDictionary(char const* key) const;
    Dictionary* getEditableDictionary(const std::string& key) const;
    Array* getEditableArray() const;
    Array* getEditableArray(char const* key) const;
    Array* getEditableArray(const std::string& key) const;

    Entries::const_iterator begin() const;
    Entries::const_iterator end() const;

    bool operator==(const Value& other) const { return item() == other.item(); }
    bool operator!=(const Value& other) const { return !(*this == other); }
    Value* clone() const;

    void print(std::ostream& out) const;
    static bool g_print_compact;

    static Value& getUndefined();
    static Value* getNull();
    static Value* getBool(bool value);

protected:
    Value() = default;

    /// Returns the content of the node, for comparing, printing and copying it.
    virtual Item item() const = 0;
    /// Deletes the node unless it is shared.
    static void destroy(Value* value);

private:
    friend class Array;
    friend class Dictionary;
};

}  // namespace util::config
