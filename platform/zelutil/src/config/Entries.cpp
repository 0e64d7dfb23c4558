#include "util/config/Entries.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

#include "bytes/BigEndian.h"

namespace util::config {

namespace {

constexpr std::size_t PAGE_SIZE = 64;      // 1.5 KiB; adding an entry moves at most 63 others
constexpr std::size_t CACHED_PAGES = 32;   // 48 KiB; more do not stay in the L1 cache
constexpr std::size_t FIRST_CAPACITY = 4;  // the number of entries of most headers

// A key that is searched for, with its first eight bytes as a big-endian number. If the numbers of
// two keys differ, the keys have the same order as the numbers, which are compared without a call.
struct Wanted {
    std::string_view key;
    std::uint64_t prefix;

    explicit Wanted(std::string_view text) noexcept : key(text), prefix(prefixOf(text)) {}

    bool isAfter(const CompactString& other) const noexcept {
        const std::uint64_t number = numberOf(other);
        return number != prefix ? number < prefix : std::string_view(other) < key;
    }
    bool isBefore(const CompactString& other) const noexcept {
        const std::uint64_t number = numberOf(other);
        return number != prefix ? prefix < number : key < std::string_view(other);
    }

private:
    // The first eight bytes of a compact string can be read: bytes after a shorter text are zeros.
    static std::uint64_t numberOf(const CompactString& text) noexcept {
        return loadEight(reinterpret_cast<unsigned char const*>(text.data()));
    }
};

template <typename Page>
bool isBehind(const Page& page, const Wanted& wanted) noexcept {
    return page.empty() || wanted.isAfter(page.back().first);
}

// Returns the index in the page at which the key is or must be inserted. Keys are often inserted in
// ascending order, so the function first compares the key with the last entry.
template <typename Page>
std::size_t positionOf(const Page& page, const Wanted& wanted) noexcept {
    if (isBehind(page, wanted)) {
        return page.size();
    }
    const auto less = [](const Entries::value_type& entry, const Wanted& key) noexcept {
        return key.isAfter(entry.first);
    };
    return static_cast<std::size_t>(std::lower_bound(page.begin(), page.end(), wanted, less) -
                                    page.begin());
}

// Loads all entries of a page into the cache at the same time. A binary search alone would wait for
// one entry after the other.
template <typename Page>
void prefetch(const Page& page) noexcept {
    constexpr std::size_t LINE = 64;
    auto const* const bytes = reinterpret_cast<char const*>(page.begin());
    for (std::size_t at = 0; at < page.size() * sizeof(*page.begin()); at += LINE) {
        __builtin_prefetch(bytes + at);
    }
}

}  // namespace

// Increases the capacity to `capacity` entries, which must be greater than the present capacity.
void Entries::Page::reserve(std::size_t capacity) {
    std::unique_ptr<value_type[]> entries(new value_type[capacity]);
    std::move(entries_.get(), entries_.get() + size_, entries.get());
    entries_.swap(entries);
    capacity_ = static_cast<std::uint32_t>(capacity);
}

// Inserts an entry at the index `place` and returns the address of its child pointer. The page must
// have less than `PAGE_SIZE` entries.
Value** Entries::Page::insert(std::size_t place, std::string_view key) {
    if (place == size_ && size_ < capacity_) {
        return pushBack(key);
    }
    CompactString text(key);  // copied, as `key` may refer to an entry that is moved below
    if (size_ == capacity_) {
        reserve(capacity_ == 0 ? FIRST_CAPACITY : std::min(2 * std::size_t{capacity_}, PAGE_SIZE));
    }
    return insert(place, std::move(text));
}

// Inserts an entry as the function above does. The page must have unused capacity.
Value** Entries::Page::insert(std::size_t place, CompactString&& key) noexcept {
    value_type* const entry = entries_.get() + place;
    std::move_backward(entry, entries_.get() + size_, entries_.get() + size_ + 1);
    *entry = value_type(std::move(key), nullptr);
    ++size_;
    return &entry->second;
}

void Entries::Page::erase(std::size_t place) noexcept {
    std::move(entries_.get() + place + 1, entries_.get() + size_, entries_.get() + place);
    --size_;
    entries_[size_] = value_type();
}

// Moves the entries from the index `cut` on to the page `next`, which is empty and has capacity for
// them.
void Entries::Page::moveTail(std::size_t cut, Page& next) noexcept {
    std::move(entries_.get() + cut, entries_.get() + size_, next.entries_.get());
    next.size_ = size_ - static_cast<std::uint32_t>(cut);
    size_ = static_cast<std::uint32_t>(cut);
}

// Returns the index of the page in which the key is or must be inserted: the last page whose
// separator is not greater than the key.
std::size_t Entries::pageOf(std::string_view key) const noexcept {
    if (rest_ == nullptr) {
        return 0;
    }
    const std::vector<CompactString>& separators = rest_->separators;
    const auto less = [](const Wanted& wanted, const CompactString& separator) noexcept {
        return wanted.isBefore(separator);
    };
    const auto number = static_cast<std::size_t>(
        std::upper_bound(separators.begin(), separators.end(), Wanted(key), less) -
        separators.begin());
    if (separators.size() > CACHED_PAGES) {
        prefetch(page(number));
    }
    return number;
}

Entries::const_iterator Entries::find(std::string_view key) const noexcept {
    const std::size_t number = pageOf(key);
    const Page& candidates = page(number);
    value_type const* const entry = candidates.begin() + positionOf(candidates, Wanted(key));
    if (entry == candidates.end() || entry->first != key) {
        return end();
    }
    return at(number, entry);
}

Value** Entries::slot(std::string_view key) noexcept {
    try {
        if (!hasSpareCapacity()) {
            return findOrInsert(key);
        }
        const std::size_t place = positionOf(first_, Wanted(key));
        const bool exists = place < first_.size() && first_[place].first == key;
        return exists ? &first_[place].second : first_.insert(place, key);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Value** Entries::append(std::string_view key) noexcept {
    try {
        if (rest_ == nullptr && first_.size() < first_.capacity()) {
            return first_.pushBack(key);
        }
        return hasSpareCapacity() ? first_.insert(first_.size(), key) : findOrInsert(key);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// Returns whether the list has only one page and this page has unused capacity.
bool Entries::hasSpareCapacity() const noexcept {
    return rest_ == nullptr && first_.size() < PAGE_SIZE;
}

// Finds the entry with the key, or inserts it. Returns the address of its child pointer. If any
// step throws an exception, the list stays valid and has the same entries.
Value** Entries::findOrInsert(std::string_view key) {
    const Wanted wanted(key);
    // Keys often arrive in ascending order, so the last page is checked first.
    std::size_t number = !isBehind(lastPage(), wanted) ? pageOf(key)
                         : rest_ == nullptr            ? 0
                                                       : rest_->pages.size();
    std::size_t place = positionOf(page(number), wanted);
    if (place < page(number).size() && page(number)[place].first == key) {
        return &page(number)[place].second;
    }
    if (page(number).size() < PAGE_SIZE) {
        return insert(number, place, key);
    }
    // If the new entry is the last one, the page stays nearly full. Thus keys in ascending order
    // fill the pages.
    const std::size_t cut = place == PAGE_SIZE ? PAGE_SIZE - 1 : PAGE_SIZE / 2;
    CompactString text(key);  // created before the split, because nothing may fail after it
    split(number, cut);
    if (place > cut) {
        ++number;
        place -= cut;
    }
    rest_->size += number != 0 ? 1U : 0U;
    return page(number).insert(place, std::move(text));
}

Value** Entries::insert(std::size_t number, std::size_t place, std::string_view key) {
    Value** const child = page(number).insert(place, key);
    if (number != 0) {
        ++rest_->size;
    }
    return child;
}

// Moves the entries from the index `cut` on to a new page. The new page is inserted after the page
// that is split.
void Entries::split(std::size_t number, std::size_t cut) {
    Page added;
    added.reserve(PAGE_SIZE);
    CompactString separator(page(number)[cut].first);
    if (rest_ == nullptr) {
        rest_ = std::make_unique<Rest>();
    }
    std::vector<Page>& pages = rest_->pages;
    std::vector<CompactString>& separators = rest_->separators;
    if (separators.size() == separators.capacity()) {
        separators.reserve(2 * separators.size() + 1);
    }
    const auto place = static_cast<std::ptrdiff_t>(number);
    pages.insert(pages.begin() + place, std::move(added));
    separators.insert(separators.begin() + place, std::move(separator));
    page(number).moveTail(cut, page(number + 1));
    if (number == 0) {
        rest_->size += page(1).size();
    }
}

void Entries::erase(const_iterator position) noexcept {
    const auto number = static_cast<std::size_t>(position.next_ - restBegin());
    Page& holder = page(number);
    holder.erase(static_cast<std::size_t>(position.entry_ - holder.begin()));
    if (number != 0) {
        --rest_->size;
    }
    if (holder.empty()) {
        erasePage(number);
    }
}

// Removes an empty page, unless it is the only one.
void Entries::erasePage(std::size_t number) noexcept {
    if (restBegin() == restEnd()) {
        return;
    }
    std::vector<Page>& pages = rest_->pages;
    if (number == 0) {
        rest_->size -= pages.front().size();
        first_.swap(pages.front());
    }
    const auto place = static_cast<std::ptrdiff_t>(number == 0 ? 0 : number - 1);
    pages.erase(pages.begin() + place);
    rest_->separators.erase(rest_->separators.begin() + place);
}

Entries::Page& Entries::lastPage() noexcept {
    return restBegin() == restEnd() ? first_ : rest_->pages.back();
}

// Removes the last page, unless it is the only one. Returns whether a page was removed.
bool Entries::dropLastPage() noexcept {
    if (restBegin() == restEnd()) {
        return false;
    }
    rest_->pages.pop_back();
    rest_->separators.pop_back();
    return true;
}

void Entries::clear() noexcept {
    Entries().swap(*this);
}

void Entries::swap(Entries& other) noexcept {
    first_.swap(other.first_);
    rest_.swap(other.rest_);
}

void Entries::reserve(unsigned long count) noexcept {
    const std::size_t capacity = std::min<std::size_t>(count, PAGE_SIZE);
    if (capacity <= first_.capacity()) {
        return;
    }
    try {
        first_.reserve(capacity);
    } catch (const std::bad_alloc&) {
        return;  // the reservation is only a hint
    }
}

}  // namespace util::config
