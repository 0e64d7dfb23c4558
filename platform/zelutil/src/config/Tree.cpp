#include "config/Tree.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "config/Cursor.h"
#include "config/PlainValue.h"
#include "util/config/Scalars.h"

namespace util::config {

namespace {

template <typename Node>
const Node& as(const Value& node) noexcept {
    return static_cast<const Node&>(node);
}

bool sameInteger(const ValueInt& a, const ValueInt& b) noexcept {
    return a.bits() == b.bits() && a.isNegative() == b.isNegative();
}

// Returns whether two nodes are equal, apart from their children.
bool sameNode(const Value& a, const Value& b) noexcept {
    if (a.kind() != b.kind()) {
        return false;
    }
    switch (a.kind()) {
        case Value::Kind::Undefined:
        case Value::Kind::Null:
            return true;
        case Value::Kind::Boolean:
            return as<PlainValue>(a).truth() == as<PlainValue>(b).truth();
        case Value::Kind::Integer:
            return sameInteger(as<ValueInt>(a), as<ValueInt>(b));
        case Value::Kind::Float:
            return as<ValueFloat>(a).value() == as<ValueFloat>(b).value();
        case Value::Kind::String:
            return as<ValueString>(a).text() == as<ValueString>(b).text();
        case Value::Kind::UnicodeString:
            return as<ValueUnicodeString>(a).text() == as<ValueUnicodeString>(b).text();
        case Value::Kind::Array:
            return a.arraySize() == b.arraySize();
        case Value::Kind::Dictionary:
            return as<Dictionary>(a).size() == as<Dictionary>(b).size();
    }
    return false;
}

template <typename Node>
Node* reserved(Node* container, unsigned long count) noexcept {
    if (container != nullptr) {
        container->reserve(count);
    }
    return container;
}

// Returns a copy of `node` without its children. If memory is exhausted, returns null or throws
// `std::bad_alloc`.
Value* copyNode(const Value& node) {
    switch (node.kind()) {
        case Value::Kind::Undefined:
        case Value::Kind::Null:
        case Value::Kind::Boolean:
            return new (std::nothrow) PlainValue(node.kind(), as<PlainValue>(node).truth());
        case Value::Kind::Integer: {
            const auto& integer = as<ValueInt>(node);
            return integer.isNegative() ? new (std::nothrow)
                                              ValueInt(static_cast<long>(integer.bits()))
                                        : new (std::nothrow) ValueInt(integer.bits());
        }
        case Value::Kind::Float:
            return new (std::nothrow) ValueFloat(as<ValueFloat>(node).value());
        case Value::Kind::String:
            return new (std::nothrow) ValueString(as<ValueString>(node).text());
        case Value::Kind::UnicodeString:
            return new (std::nothrow) ValueUnicodeString(as<ValueUnicodeString>(node).text());
        case Value::Kind::Array:
            return reserved(new (std::nothrow) Array, node.arraySize());
        case Value::Kind::Dictionary:
            return reserved(new (std::nothrow) Dictionary, as<Dictionary>(node).size());
    }
    return nullptr;
}

// Returns a copy of a node for use as a child. Returns the shared node for null, booleans and
// undefined.
Value* copyChild(const Value& node) {
    switch (node.kind()) {
        case Value::Kind::Undefined:
            return &Value::getUndefined();
        case Value::Kind::Null:
            return Value::getNull();
        case Value::Kind::Boolean:
            return Value::getBool(as<PlainValue>(node).truth());
        default:
            return copyNode(node);
    }
}

// A container whose children are being copied.
struct Open {
    Cursor source;
    Value* copy;
};

bool addCopy(const Open& level, Value* child) noexcept {
    if (level.source.isDictionary()) {
        return !static_cast<Dictionary*>(level.copy)->add(level.source.key(), child);
    }
    return !static_cast<Array*>(level.copy)->add(child);
}

// Copies everything below `root` into `copy`. If memory is exhausted, returns false or throws
// `std::bad_alloc`.
bool copyChildren(const Value& root, Value* copy) {
    std::vector<Open> open{{Cursor(root), copy}};
    while (!open.empty()) {
        Open& level = open.back();
        if (level.source.atEnd()) {
            open.pop_back();
            continue;
        }
        const Value& child = level.source.child();
        Value* childCopy = copyChild(child);
        if (!addCopy(level, childCopy)) {
            return false;
        }
        level.source.next();
        if (isContainer(child)) {
            open.push_back({Cursor(child), childCopy});
        }
    }
    return true;
}

}  // namespace

bool equalTrees(const Value& a, const Value& b) {
    if (!sameNode(a, b)) {
        return false;
    }
    std::vector<std::pair<Cursor, Cursor>> open;
    if (isContainer(a)) {
        open.emplace_back(Cursor(a), Cursor(b));
    }
    while (!open.empty()) {
        auto& [left, right] = open.back();
        if (left.atEnd()) {
            open.pop_back();
            continue;
        }
        const Value& x = left.child();
        const Value& y = right.child();
        if ((left.isDictionary() && left.key() != right.key()) || !sameNode(x, y)) {
            return false;
        }
        left.next();
        right.next();
        if (isContainer(x)) {
            open.emplace_back(Cursor(x), Cursor(y));
        }
    }
    return true;
}

Value* cloneTree(const Value& root) noexcept {
    try {
        std::unique_ptr<Value> copy(copyNode(root));
        if (copy == nullptr || (isContainer(root) && !copyChildren(root, copy.get()))) {
            return nullptr;
        }
        return copy.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace util::config
