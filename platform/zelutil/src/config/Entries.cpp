#include "util/config/Entries.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace util::config {

namespace {

constexpr std::size_t PAGE_SIZE = 64;  // 2.5 KiB; adding an entry moves 16 others on average
constexpr std::size_t FIRST_ROOM = 4;  // what most headers need

template <typename Page>
bool isBehind(const Page& page, std::string_view key) noexcept {
    return page.empty() || std::string_view(page.back().first) < key;
}

// Where in the page the key is or belongs. Keys often come in ascending order, so the end is
// looked at first.
template <typename Page>
std::size_t positionOf(const Page& page, std::string_view key) noexcept {
    if (isBehind(page, key)) {
        return page.size();
    }
    const auto less = [](const Entries::value_type& entry, std::string_view wanted) noexcept {
        return std::string_view(entry.first) < wanted;
    };
    return static_cast<std::size_t>(std::lower_bound(page.begin(), page.end(), key, less) -
                                    page.begin());
}

}  // namespace

// The page that has the key, or that it belongs to: the last one whose first key is not greater.
std::size_t Entries::pageOf(std::string_view key) const noexcept {
    const auto less = [](std::string_view wanted, const Page& page) noexcept {
        return wanted < std::string_view(page.front().first);
    };
    const auto after = std::upper_bound(rest_.begin(), rest_.end(), key, less);
    return static_cast<std::size_t>(after - rest_.begin());
}

Entries::const_iterator Entries::find(std::string_view key) const noexcept {
    const std::size_t number = pageOf(key);
    const Page& candidates = page(number);
    const std::size_t place = positionOf(candidates, key);
    if (place == candidates.size() || candidates[place].first != key) {
        return end();
    }
    return at(number, &candidates[place]);
}

Value** Entries::slot(std::string_view key) noexcept {
    try {
        return hasRoom() && isBehind(first_, key) ? pushBack(key) : findOrInsert(key);
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}

Value** Entries::append(std::string_view key) noexcept {
    try {
        return hasRoom() ? pushBack(key) : findOrInsert(key);
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}

// Whether an entry can be added to the end of the only page.
bool Entries::hasRoom() const noexcept {
    return rest_.empty() && first_.size() < std::min(first_.capacity(), PAGE_SIZE);
}

Value** Entries::pushBack(std::string_view key) {
    Value** const child = &first_.emplace_back(key, nullptr).second;
    ++size_;
    return child;
}

// Each step that can throw leaves a valid list with the same entries behind.
Value** Entries::findOrInsert(std::string_view key) {
    if (first_.capacity() == 0) {
        first_.reserve(FIRST_ROOM);
    }
    std::size_t number = pageOf(key);
    std::size_t place = positionOf(page(number), key);
    if (place < page(number).size() && page(number)[place].first == key) {
        return &page(number)[place].second;
    }
    if (page(number).size() == PAGE_SIZE) {
        // Behind the last entry the page stays nearly full: ascending order fills the pages.
        const std::size_t cut = place == PAGE_SIZE ? PAGE_SIZE - 1 : PAGE_SIZE / 2;
        split(number, cut);
        if (place > cut) {
            ++number;
            place -= cut;
        }
    }
    Page& target = page(number);
    const auto entry =
        target.emplace(target.begin() + static_cast<std::ptrdiff_t>(place), key, nullptr);
    ++size_;
    return &entry->second;
}

// Moves the entries of a page from `cut` on to a new page behind it.
void Entries::split(std::size_t number, std::size_t cut) {
    Page room;
    room.reserve(PAGE_SIZE);
    rest_.insert(rest_.begin() + static_cast<std::ptrdiff_t>(number), std::move(room));
    Page& former = page(number);  // from here on nothing allocates
    const auto tail = former.begin() + static_cast<std::ptrdiff_t>(cut);
    Page& next = page(number + 1);
    next.insert(next.end(), std::make_move_iterator(tail), std::make_move_iterator(former.end()));
    former.erase(tail, former.end());
}

void Entries::erase(const_iterator position) noexcept {
    const auto number = static_cast<std::size_t>(position.next_ - rest_.data());
    Page& holder = page(number);
    holder.erase(holder.begin() + (position.entry_ - holder.data()));
    if (holder.empty()) {
        erasePage(number);
    }
    --size_;
}

void Entries::erasePage(std::size_t number) noexcept {
    if (rest_.empty()) {
        return;
    }
    if (number == 0) {
        first_.swap(rest_.front());
    }
    rest_.erase(rest_.begin() + static_cast<std::ptrdiff_t>(number == 0 ? 0 : number - 1));
}

void Entries::clear() noexcept {
    Page().swap(first_);
    rest_.clear();
    size_ = 0;
}

void Entries::swap(Entries& other) noexcept {
    first_.swap(other.first_);
    rest_.swap(other.rest_);
    std::swap(size_, other.size_);
}

void Entries::reserve(unsigned long count) noexcept {
    try {
        first_.reserve(std::min<std::size_t>(count, PAGE_SIZE));
    } catch (const std::bad_alloc&) {
        return;  // a hint
    }
}

}  // namespace util::config
