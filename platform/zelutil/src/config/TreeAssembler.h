#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "bytes/BigEndian.h"
#include "bytes/SmallBuffer.h"
#include "config/NodeBlocks.h"
#include "util/Limits.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace util::config {

/// An entry of an object whose node does not exist yet.
struct TreeField {
    std::uint64_t prefix;  // the first bytes of the key as a number that preserves the order
    std::size_t key;       // position of the key; the value follows it
};

/// A container that is being filled.
struct TreeLevel {
    Array* array;  // either this or `dictionary` is null
    Dictionary* dictionary;
    std::size_t next;  // position of the next element, or index of the next field
    std::size_t end;
    std::size_t firstField;
    bool hasEntries;  // whether the dictionary already had entries when this level was opened
};

/// The memory of a `TreeAssembler`. It is reused for the next tree.
struct TreeWorkspace {
    SmallBuffer<TreeLevel, 8> levels;
    SmallBuffer<TreeField, 24> fields;  // the fields of all objects that are being filled
};

/// Builds value trees from values that were parsed before: the words of a JSON document, or the
/// events of a record. It uses stacks, not recursion. A container is added to its parent when it is
/// complete.
///
/// `Source` is a list of values and keys by position. An array is followed by its elements, an
/// object by its keys, and each key by its value. `kind(at)` is `[`, `{`, `"`, `l` for a signed
/// integer, `u` for an unsigned one, `d` for a double, `t`, `f` or `n`. The content is read with
/// `text`, `signedAt`, `unsignedAt`, `realAt` and `count`. `endOf(at)` is the end of the children
/// of a container, and `after(at)` the position after a value. `depthOf(at)` is the nesting depth
/// of arrays and objects in a value, or 0 if the source has already limited the depth.
template <class Source>
class TreeAssembler {
public:
    /// Creates an assembler whose nodes are in `blocks`. If `unicodeStrings` is true, it creates
    /// unicode strings, otherwise narrow strings.
    TreeAssembler(const Source& source, NodeBlocks& blocks, TreeWorkspace& workspace,
                  bool unicodeStrings) noexcept
        : source_(source),
          blocks_(blocks),
          levels_(workspace.levels),
          fields_(workspace.fields),
          unicodeStrings_(unicodeStrings) {
        levels_.clear();
        fields_.clear();
    }
    /// After a failure, destroys the containers that are not yet in a parent.
    ~TreeAssembler() {
        for (const std::size_t kept = ownsRoot_ ? 0 : 1; levels_.size() > kept; levels_.pop()) {
            Value::destroy(containerOf(levels_.back()));
        }
    }
    TreeAssembler(const TreeAssembler&) = delete;
    TreeAssembler& operator=(const TreeAssembler&) = delete;

    /// Returns the tree of the value at the position. The caller owns the tree. Returns null on
    /// failure.
    Value* assemble(std::size_t at) noexcept;
    /// @{
    /// Adds the entries or elements from `first` up to `end` to `root`. Returns false on failure;
    /// `root` then contains the entries or elements that were completed before the failure.
    bool fill(Dictionary& root, std::size_t first, std::size_t end) noexcept;
    bool fill(Array& root, std::size_t first, std::size_t end) noexcept;
    /// @}
    /// Returns whether the failure was that arrays and objects are nested more deeply than
    /// `MAX_NESTING_DEPTH`. Otherwise memory was exhausted.
    bool isTooDeep() const noexcept { return isTooDeep_; }

private:
    static Value* containerOf(const TreeLevel& level) noexcept {
        return level.array != nullptr ? static_cast<Value*>(level.array) : level.dictionary;
    }

    bool isContainer(std::size_t at) const noexcept {
        return source_.kind(at) == '[' || source_.kind(at) == '{';
    }
    Value* makeLeaf(std::size_t at);
    Value* makeText(std::string_view text);
    bool enter(std::size_t at);
    bool enterArray(std::size_t at);
    bool enterDictionary(std::size_t at);
    bool listFields(std::size_t next, std::size_t end);
    bool dropDuplicates(std::size_t first) noexcept;
    bool isLess(const TreeField& a, const TreeField& b) const noexcept;
    bool isSame(const TreeField& a, const TreeField& b) const noexcept {
        return a.prefix == b.prefix && source_.text(a.key) == source_.text(b.key);
    }
    bool fillAll();
    bool fillArray(TreeLevel& level);
    bool fillDictionary(TreeLevel& level);
    bool addField(const TreeLevel& level, std::string_view key, Value* value) noexcept;
    bool close() noexcept;

    const Source& source_;
    NodeBlocks& blocks_;
    SmallBuffer<TreeLevel, 8>& levels_;
    SmallBuffer<TreeField, 24>& fields_;
    bool unicodeStrings_;
    bool isTooDeep_ = false;
    bool ownsRoot_ = false;
};

template <class Source>
Value* TreeAssembler<Source>::assemble(std::size_t at) noexcept {
    try {
        if (!isContainer(at)) {
            return makeLeaf(at);
        }
        if (!enter(at)) {
            return nullptr;
        }
        ownsRoot_ = true;
        if (!fillAll()) {
            return nullptr;
        }
        ownsRoot_ = false;
        return containerOf(levels_[0]);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

template <class Source>
bool TreeAssembler<Source>::fill(Array& root, std::size_t first, std::size_t end) noexcept {
    try {
        levels_.emplace(TreeLevel{&root, nullptr, first, end, 0, false});
        return fillAll();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

template <class Source>
bool TreeAssembler<Source>::fill(Dictionary& root, std::size_t first, std::size_t end) noexcept {
    try {
        if (!listFields(first, end)) {
            return false;
        }
        root.reserve(root.size() + fields_.size());
        levels_.emplace(TreeLevel{nullptr, &root, 0, fields_.size(), 0, root.size() != 0});
        return fillAll();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Returns a new node for a scalar, or a shared node. If memory is exhausted, returns null or throws
// `std::bad_alloc`.
template <class Source>
inline Value* TreeAssembler<Source>::makeLeaf(std::size_t at) {
    const char kind = source_.kind(at);
    switch (kind) {
        case 'l':
            return blocks_.make<ValueInt>(static_cast<long>(source_.signedAt(at)));
        case 'u':
            return blocks_.make<ValueInt>(static_cast<unsigned long>(source_.unsignedAt(at)));
        case 'd':
            return blocks_.make<ValueFloat>(source_.realAt(at));
        case '"':
            return makeText(source_.text(at));
        case 't':
        case 'f':
            return Value::getBool(kind == 't');
        default:
            return Value::getNull();
    }
}

template <class Source>
inline Value* TreeAssembler<Source>::makeText(std::string_view text) {
    if (unicodeStrings_) {
        return blocks_.make<ValueUnicodeString>(UnicodeString8{std::string(text)});
    }
    return blocks_.make<ValueString>(text);
}

// Starts a level for the array or object.
template <class Source>
inline bool TreeAssembler<Source>::enter(std::size_t at) {
    if (levels_.size() == MAX_NESTING_DEPTH) {
        isTooDeep_ = true;
        return false;
    }
    if (!levels_.reserveMore(1)) {
        return false;
    }
    return source_.kind(at) == '[' ? enterArray(at) : enterDictionary(at);
}

template <class Source>
inline bool TreeAssembler<Source>::enterArray(std::size_t at) {
    auto* const array = blocks_.make<Array>();
    if (array == nullptr) {
        return false;
    }
    array->reserve(source_.count(at));
    levels_.push({array, nullptr, at + 1, source_.endOf(at), 0, false});
    return true;
}

template <class Source>
inline bool TreeAssembler<Source>::enterDictionary(std::size_t at) {
    const std::size_t first = fields_.size();
    if (!listFields(at + 1, source_.endOf(at))) {
        return false;
    }
    auto* const dictionary = blocks_.make<Dictionary>();
    if (dictionary == nullptr) {
        return false;
    }
    dictionary->reserve(fields_.size() - first);
    levels_.push({nullptr, dictionary, first, fields_.size(), first, false});
    return true;
}

// Appends the keys from `next` up to `end` to the list of fields, in ascending order and without
// duplicates.
template <class Source>
inline bool TreeAssembler<Source>::listFields(std::size_t next, std::size_t end) {
    const std::size_t first = fields_.size();
    for (; next != end; next = source_.after(next + 1)) {
        fields_.emplace(TreeField{prefixOf(source_.text(next)), next});
    }
    std::sort(fields_.data() + first, fields_.end(),
              [this](const TreeField& a, const TreeField& b) noexcept { return isLess(a, b); });
    return dropDuplicates(first);
}

// Returns whether `a` comes before `b` in the order of keys. Among fields with equal keys, the last
// one in the source comes first.
template <class Source>
inline bool TreeAssembler<Source>::isLess(const TreeField& a, const TreeField& b) const noexcept {
    if (a.prefix != b.prefix) {
        return a.prefix < b.prefix;
    }
    const int order = source_.text(a.key).compare(source_.text(b.key));
    return order < 0 || (order == 0 && a.key > b.key);
}

// Keeps only the first of the fields with equal keys. Returns false if the value of a discarded
// field is nested too deeply, because the source is then rejected.
template <class Source>
inline bool TreeAssembler<Source>::dropDuplicates(std::size_t first) noexcept {
    const auto same = [this](const TreeField& a, const TreeField& b) { return isSame(a, b); };
    TreeField* kept = std::adjacent_find(fields_.data() + first, fields_.end(), same);
    if (kept == fields_.end()) {
        return true;
    }
    for (TreeField* field = kept + 1; field != fields_.end(); ++field) {
        if (!same(*field, *kept)) {
            *++kept = *field;
        } else if (levels_.size() + 1 + source_.depthOf(field->key + 1) > MAX_NESTING_DEPTH) {
            isTooDeep_ = true;
            return false;
        }
    }
    fields_.commit(kept + 1);
    return true;
}

// Adds children until the lowest level is complete.
template <class Source>
inline bool TreeAssembler<Source>::fillAll() {
    while (true) {
        TreeLevel& level = levels_.back();
        if (level.next != level.end) {
            if (!(level.array != nullptr ? fillArray(level) : fillDictionary(level))) {
                return false;
            }
        } else if (levels_.size() == 1) {
            return true;
        } else if (!close()) {
            return false;
        }
    }
}

// Adds elements to the innermost array. Stops when all elements are added, or when the next element
// is a container; it then enters that container.
template <class Source>
inline bool TreeAssembler<Source>::fillArray(TreeLevel& level) {
    while (level.next != level.end) {
        const std::size_t at = level.next;
        level.next = source_.after(at);
        if (isContainer(at)) {
            return enter(at);
        }
        if (level.array->add(makeLeaf(at))) {
            return false;
        }
    }
    return true;
}

// Adds fields to the innermost object. Stops when all fields are added, or when the value of a
// field is a container; it then enters that container.
template <class Source>
inline bool TreeAssembler<Source>::fillDictionary(TreeLevel& level) {
    while (level.next != level.end) {
        const std::size_t key = fields_[level.next].key;
        ++level.next;
        if (isContainer(key + 1)) {
            return enter(key + 1);
        }
        if (!addField(level, source_.text(key), makeLeaf(key + 1))) {
            return false;
        }
    }
    return true;
}

template <class Source>
inline bool TreeAssembler<Source>::addField(const TreeLevel& level, std::string_view key,
                                            Value* value) noexcept {
    return !(level.hasEntries ? level.dictionary->add(key, value)
                              : level.dictionary->append(key, value));
}

// Ends the innermost container and adds it to its parent.
template <class Source>
inline bool TreeAssembler<Source>::close() noexcept {
    Value* const complete = containerOf(levels_.back());
    if (levels_.back().dictionary != nullptr) {
        fields_.commit(fields_.data() + levels_.back().firstField);
    }
    levels_.pop();
    TreeLevel& parent = levels_.back();
    if (parent.array != nullptr) {
        return !parent.array->add(complete);
    }
    return addField(parent, source_.text(fields_[parent.next - 1].key), complete);
}

}  // namespace util::config
