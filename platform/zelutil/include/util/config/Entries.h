#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "util/Export.h"
#include "util/config/CompactString.h"

namespace util::config {

class Value;

/// The entries of a dictionary: pairs of key and child, in ascending byte-wise order of the keys.
///
/// The dictionary owns the children, not this class. Iterators and references to entries are valid
/// until an entry is added or removed. Concurrent reads are safe; concurrent changes are not.
class UTIL_API Entries {
public:
    /// An entry: key and child.
    using value_type = std::pair<CompactString, Value*>;

private:
    /// A page: a part of the sorted list, with up to `PAGE_SIZE` entries. Most dictionaries have
    /// one page, which is one small block of memory. Several pages make it cheap to add an entry
    /// anywhere in a large dictionary. Only the first page may be empty, and only if it is the only
    /// page.
    class Page {
    public:
        Page() noexcept = default;
        Page(Page&& other) noexcept { swap(other); }
        Page& operator=(Page&& other) noexcept {
            Page moved(std::move(other));
            swap(moved);
            return *this;
        }
        void swap(Page& other) noexcept {
            entries_.swap(other.entries_);
            std::swap(size_, other.size_);
            std::swap(capacity_, other.capacity_);
        }

        std::size_t size() const noexcept { return size_; }
        bool empty() const noexcept { return size_ == 0; }
        std::size_t capacity() const noexcept { return capacity_; }
        const value_type* begin() const noexcept { return entries_.get(); }
        const value_type* end() const noexcept { return begin() + size_; }
        const value_type& front() const noexcept { return entries_[0]; }
        const value_type& back() const noexcept { return entries_[size_ - 1]; }
        value_type& back() noexcept { return entries_[size_ - 1]; }
        value_type& operator[](std::size_t place) noexcept { return entries_[place]; }

        UTIL_LOCAL void reserve(std::size_t capacity);
        /// Appends an entry, for which the page must have capacity. Returns the address of its
        /// child pointer. Throws `std::bad_alloc` if memory is exhausted; the page is then
        /// unchanged.
        Value** pushBack(std::string_view key) {
            value_type& entry = entries_[size_];
            entry.first.assign(key);
            entry.second = nullptr;
            ++size_;
            return &entry.second;
        }
        UTIL_LOCAL Value** insert(std::size_t place, std::string_view key);
        UTIL_LOCAL Value** insert(std::size_t place, CompactString&& key) noexcept;
        UTIL_LOCAL void erase(std::size_t place) noexcept;
        UTIL_LOCAL void moveTail(std::size_t cut, Page& next) noexcept;
        /// Removes the last entry and returns its child. The page keeps the memory of the key until
        /// another entry replaces the removed one.
        Value* popBack() noexcept { return entries_[--size_].second; }

    private:
        std::unique_ptr<value_type[]> entries_;  // the unused entries are empty
        std::uint32_t size_ = 0;
        std::uint32_t capacity_ = 0;
    };
    /// The pages after the first one.
    struct Rest {
        std::vector<Page> pages;
        unsigned long size = 0;  // number of entries in these pages
        // One key for each page: it is not greater than the keys of the page, and greater than the
        // keys of the page before. A search reads this array and not the memory of each page.
        std::vector<CompactString> separators;
    };

public:
    /// A read-only iterator over the entries in the order of their keys.
    class const_iterator {
    public:
        /// @{
        /// The member types that the standard library requires of an iterator.
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entries::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type*;
        using reference = const value_type&;
        /// @}

        /// Creates an iterator that equals `end()`.
        const_iterator() noexcept = default;
        /// @{
        /// Returns the entry. The iterator must not be at the end.
        reference operator*() const noexcept { return *entry_; }
        pointer operator->() const noexcept { return entry_; }
        /// @}

        /// Advances to the next entry, or to the end.
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
        /// Returns whether both iterators are at the same entry.
        friend bool operator==(const const_iterator& a, const const_iterator& b) noexcept {
            return a.entry_ == b.entry_;
        }
        friend bool operator!=(const const_iterator& a, const const_iterator& b) noexcept {
            return a.entry_ != b.entry_;
        }

    private:
        friend class Entries;
        const_iterator(const Page& page, pointer entry, const Page* next, const Page* end) noexcept
            : entry_(entry), pageEnd_(page.end()), next_(next), end_(end) {}

        void enterNext() noexcept {
            entry_ = next_ == end_ ? nullptr : next_->begin();
            if (entry_ != nullptr) {
                pageEnd_ = next_->end();
                ++next_;
            }
        }

        pointer entry_ = nullptr;  // null at the end
        pointer pageEnd_ = nullptr;
        const Page* next_ = nullptr;  // the page after the page of the entry
        const Page* end_ = nullptr;
    };

    /// Returns whether there are no entries.
    bool empty() const noexcept { return first_.empty(); }
    /// Returns the number of entries.
    unsigned long size() const noexcept {
        return first_.size() + (rest_ == nullptr ? 0 : rest_->size);
    }
    /// @{
    /// Returns an iterator to the entry with the smallest key, and the iterator past the last
    /// entry.
    const_iterator begin() const noexcept { return empty() ? end() : at(0, first_.begin()); }
    // NOLINTNEXTLINE(readability-convert-member-functions-to-static): range interface, list.end()
    const_iterator end() const noexcept { return {}; }
    /// @}

    /// Returns an iterator to the entry with the key, or `end()`.
    const_iterator find(std::string_view key) const noexcept;

    /// Returns the address of the child pointer of the entry with the key, for the caller to write.
    /// If the key does not exist, adds an entry with a null child. Returns null if memory is
    /// exhausted; the list is then unchanged.
    [[nodiscard]] Value** slot(std::string_view key) noexcept;
    /// Adds an entry at the end, as `slot` does. The key must be greater than all existing keys.
    [[nodiscard]] Value** append(std::string_view key) noexcept;
    /// Removes the entry at `position`, which is not the end. The child is not destroyed.
    void erase(const_iterator position) noexcept;
    /// Removes all entries. The children are not destroyed.
    void clear() noexcept;
    /// Swaps the entries of two lists.
    void swap(Entries& other) noexcept;
    /// Reserves capacity for `count` entries in total, but at most for one page. If memory is
    /// exhausted, the capacity stays the same and no error is reported.
    void reserve(unsigned long count) noexcept;

private:
    friend class Dictionary;

    const Page* restBegin() const noexcept {
        return rest_ == nullptr ? nullptr : rest_->pages.data();
    }
    const Page* restEnd() const noexcept {
        return rest_ == nullptr ? nullptr : restBegin() + rest_->pages.size();
    }
    const Page& page(std::size_t number) const noexcept {
        return number == 0 ? first_ : rest_->pages[number - 1];
    }
    Page& page(std::size_t number) noexcept {
        return number == 0 ? first_ : rest_->pages[number - 1];
    }
    const_iterator at(std::size_t number, const value_type* entry) const noexcept {
        return {page(number), entry, restBegin() + number, restEnd()};
    }
    UTIL_LOCAL std::size_t pageOf(std::string_view key) const noexcept;
    UTIL_LOCAL bool hasSpareCapacity() const noexcept;
    UTIL_LOCAL Value** insert(std::size_t number, std::size_t place, std::string_view key);
    UTIL_LOCAL Value** findOrInsert(std::string_view key);
    UTIL_LOCAL void split(std::size_t number, std::size_t cut);
    UTIL_LOCAL void erasePage(std::size_t number) noexcept;
    // `Dictionary` destroys its children with these two functions, from the last page to the first.
    // They do not update `Rest::size`, so the list must be cleared or destroyed afterwards.
    UTIL_LOCAL Page& lastPage() noexcept;
    UTIL_LOCAL bool dropLastPage() noexcept;

    Page first_;
    std::unique_ptr<Rest> rest_;  // null until there is a second page
};

}  // namespace util::config
