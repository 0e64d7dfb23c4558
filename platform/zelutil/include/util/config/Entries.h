#pragma once

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "util/Export.h"

namespace util::config {

class Value;

/// The entries of a dictionary: pairs of key and child, in ascending byte-wise order of the keys.
///
/// It does not own the children; the dictionary does. Iterators and references to entries are valid
/// until an entry is added or removed. One thread at a time, or many that only read.
class UTIL_API Entries {
public:
    /// An entry: key and child.
    using value_type = std::pair<std::string, Value*>;

private:
    /// One sorted list, cut into pages of up to `PAGE_SIZE` entries: most dictionaries are one
    /// small block of memory, and in a large one an entry can be added anywhere at little cost. No
    /// page is empty, but a lone first one may be.
    using Page = std::vector<value_type>;

public:
    /// Walks the entries in the order of their keys, for reading only.
    class const_iterator {
    public:
        /// @{
        /// As the standard library asks of an iterator.
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entries::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type*;
        using reference = const value_type&;
        /// @}

        /// An iterator into nothing, to be assigned to.
        const_iterator() noexcept = default;
        /// @{
        /// The entry; not at the end.
        reference operator*() const noexcept { return *entry_; }
        pointer operator->() const noexcept { return entry_; }
        /// @}

        /// Goes on to the next entry, or to the end.
        const_iterator& operator++() noexcept {
            if (++entry_ == pageEnd_) {
                enterNext();
            }
            return *this;
        }
        const_iterator operator++(int) noexcept {
            const const_iterator before = *this;
            ++*this;
            return before;
        }
        /// Whether both are at the same entry.
        friend bool operator==(const const_iterator& a, const const_iterator& b) noexcept {
            return a.entry_ == b.entry_;
        }
        friend bool operator!=(const const_iterator& a, const const_iterator& b) noexcept {
            return a.entry_ != b.entry_;
        }

    private:
        friend class Entries;
        const_iterator(const Page& page, pointer entry, const Page* next, const Page* end) noexcept
            : entry_(entry), pageEnd_(page.data() + page.size()), next_(next), end_(end) {}

        void enterNext() noexcept {
            entry_ = next_ == end_ ? nullptr : next_->data();
            if (entry_ != nullptr) {
                pageEnd_ = entry_ + next_->size();
                ++next_;
            }
        }

        pointer entry_ = nullptr;  // null at the end
        pointer pageEnd_ = nullptr;
        const Page* next_ = nullptr;  // the page behind that of the entry
        const Page* end_ = nullptr;
    };

    /// Whether there is no entry.
    bool empty() const noexcept { return size_ == 0; }
    /// The number of entries.
    unsigned long size() const noexcept { return size_; }
    /// @{
    /// From the entry with the least key to behind the last one.
    const_iterator begin() const noexcept { return empty() ? end() : at(0, first_.data()); }
    // NOLINTNEXTLINE(readability-convert-member-functions-to-static): a list is asked for its end
    const_iterator end() const noexcept { return {}; }
    /// @}

    /// The entry with the key, or the end.
    const_iterator find(std::string_view key) const noexcept;

    /// The child of the key's entry, for writing; an entry that was not there is made, with a null
    /// child. Null when memory is exhausted, and then nothing was changed.
    [[nodiscard]] Value** slot(std::string_view key) noexcept;
    /// As `slot`, for a key that is greater than all present ones.
    [[nodiscard]] Value** append(std::string_view key) noexcept;
    /// Takes an entry out; `position` is not the end.
    void erase(const_iterator position) noexcept;
    /// Takes all entries out.
    void clear() noexcept;
    /// Exchanges the entries of two lists.
    void swap(Entries& other) noexcept;
    /// Makes room for `count` entries in all; a hint that may be ignored.
    void reserve(unsigned long count) noexcept;

private:
    const Page& page(std::size_t number) const noexcept {
        return number == 0 ? first_ : rest_[number - 1];
    }
    Page& page(std::size_t number) noexcept { return number == 0 ? first_ : rest_[number - 1]; }
    const_iterator at(std::size_t number, const value_type* entry) const noexcept {
        return {page(number), entry, rest_.data() + number, rest_.data() + rest_.size()};
    }
    std::size_t pageOf(std::string_view key) const noexcept;
    bool hasRoom() const noexcept;
    Value** pushBack(std::string_view key);
    Value** findOrInsert(std::string_view key);
    void split(std::size_t number, std::size_t cut);
    void erasePage(std::size_t number) noexcept;

    Page first_;
    std::vector<Page> rest_;
    unsigned long size_ = 0;
};

}  // namespace util::config
