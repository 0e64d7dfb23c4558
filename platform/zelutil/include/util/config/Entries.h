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
/// It does not own the children; the dictionary does. Iterators and references to entries are valid
/// until an entry is added or removed. One thread at a time, or many that only read.
class UTIL_API Entries {
public:
    /// An entry: key and child.
    using value_type = std::pair<CompactString, Value*>;

private:
    /// One sorted list, cut into pages of up to `PAGE_SIZE` entries: most dictionaries are one
    /// small block of memory, and in a large one an entry can be added anywhere at little cost. No
    /// page is empty, but a lone first one may be.
    class Page {
    public:
        Page() noexcept = default;
        Page(Page&& other) noexcept { swap(other); }
        Page& operator=(Page&& other) noexcept {
            Page taken(std::move(other));
            swap(taken);
            return *this;
        }
        void swap(Page& other) noexcept {
            entries_.swap(other.entries_);
            std::swap(size_, other.size_);
            std::swap(room_, other.room_);
        }

        std::size_t size() const noexcept { return size_; }
        bool empty() const noexcept { return size_ == 0; }
        std::size_t room() const noexcept { return room_; }
        const value_type* begin() const noexcept { return entries_.get(); }
        const value_type* end() const noexcept { return begin() + size_; }
        const value_type& front() const noexcept { return entries_[0]; }
        const value_type& back() const noexcept { return entries_[size_ - 1]; }
        value_type& back() noexcept { return entries_[size_ - 1]; }
        value_type& operator[](std::size_t place) noexcept { return entries_[place]; }

        void reserve(std::size_t room);
        /// The child of a new entry at the end, where room is; `std::bad_alloc` changes nothing.
        Value** pushBack(std::string_view key) {
            value_type& entry = entries_[size_];
            entry.first.assign(key);
            entry.second = nullptr;
            ++size_;
            return &entry.second;
        }
        Value** insert(std::size_t place, std::string_view key);
        void erase(std::size_t place) noexcept;
        void moveTail(std::size_t cut, Page& next) noexcept;
        /// Takes the last entry out and gives its child; the key stays where it is until another
        /// entry takes its place.
        Value* popBack() noexcept { return entries_[--size_].second; }

    private:
        std::unique_ptr<value_type[]> entries_;  // empty ones behind the last
        std::uint32_t size_ = 0;
        std::uint32_t room_ = 0;
    };
    /// The pages behind the first one.
    struct Rest {
        std::vector<Page> pages;
        unsigned long size = 0;  // of all of them together
    };

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
        const Page* next_ = nullptr;  // the page behind that of the entry
        const Page* end_ = nullptr;
    };

    /// Whether there is no entry.
    bool empty() const noexcept { return first_.empty(); }
    /// The number of entries.
    unsigned long size() const noexcept {
        return first_.size() + (rest_ == nullptr ? 0 : rest_->size);
    }
    /// @{
    /// From the entry with the least key to behind the last one.
    const_iterator begin() const noexcept { return empty() ? end() : at(0, first_.begin()); }
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
    std::size_t pageOf(std::string_view key) const noexcept;
    bool hasRoom() const noexcept;
    Value** insert(std::size_t number, std::size_t place, std::string_view key);
    Value** findOrInsert(std::string_view key);
    void split(std::size_t number, std::size_t cut);
    void erasePage(std::size_t number) noexcept;
    // For taking out all entries from the last one on; `size` is right again when all are out.
    Page& lastPage() noexcept;
    bool dropLastPage() noexcept;

    Page first_;
    std::unique_ptr<Rest> rest_;  // null until there is a second page
};

}  // namespace util::config
