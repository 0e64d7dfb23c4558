#include "util/config/Entries.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace util::config {

namespace {

constexpr std::size_t PAGE_SIZE = 64;  // 2.5 KiB; adding an entry moves 16 others on average
constexpr std::size_t FIRST_ROOM = 4;  // what most headers need

// Where in the page the key is or belongs. Keys often come in ascending order, so the end is
// looked at first.
template <typename Page>
std::size_t positionOf(const Page& page, std::string_view key) noexcept {
    const auto less = [](const Entries::value_type& entry, std::string_view wanted) noexcept {
        return std::string_view(entry.first) < wanted;
    };
    if (page.empty() || less(page.back(), key)) {
        return page.size();
    }
    return static_cast<std::size_t>(std::lower_bound(page.begin(), page.end(), key, less) -
                                    page.begin());
}

}  // namespace

// The page that has the key, or that it belongs to: the last one whose first key is not greater.
std::size_t Entries::pageOf(std::string_view key) const noexcept {
    if (pages_.size() < 2) {
        return 0;
    }
    const auto less = [](std::string_view wanted, const Page& page) noexcept {
        return wanted < std::string_view(page.front().first);
    };
    const auto after = std::upper_bound(pages_.begin() + 1, pages_.end(), key, less);
    return static_cast<std::size_t>(after - pages_.begin()) - 1;
}

Entries::const_iterator Entries::find(std::string_view key) const noexcept {
    if (empty()) {
        return end();
    }
    const Page& page = pages_[pageOf(key)];
    const std::size_t at = positionOf(page, key);
    if (at == page.size() || page[at].first != key) {
        return end();
    }
    return {&page, pastPages(), &page[at]};
}

Value** Entries::slot(std::string_view key) noexcept {
    try {
        return findOrInsert(key);
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}

// Each step that can throw leaves a valid list with the same entries behind.
Value** Entries::findOrInsert(std::string_view key) {
    if (pages_.empty()) {
        pages_.emplace_back().reserve(FIRST_ROOM);
    }
    std::size_t number = pageOf(key);
    std::size_t at = positionOf(pages_[number], key);
    if (at < pages_[number].size() && pages_[number][at].first == key) {
        return &pages_[number][at].second;
    }
    if (pages_[number].size() == PAGE_SIZE) {
        // Behind the last entry the page stays nearly full: ascending order fills the pages.
        const std::size_t cut = at == PAGE_SIZE ? PAGE_SIZE - 1 : PAGE_SIZE / 2;
        split(number, cut);
        if (at > cut) {
            ++number;
            at -= cut;
        }
    }
    Page& page = pages_[number];
    const auto entry = page.emplace(page.begin() + static_cast<std::ptrdiff_t>(at), key, nullptr);
    ++size_;
    return &entry->second;
}

// Moves the entries of a page from `cut` on to a new page behind it.
void Entries::split(std::size_t number, std::size_t cut) {
    Page room;
    room.reserve(PAGE_SIZE);
    pages_.insert(pages_.begin() + static_cast<std::ptrdiff_t>(number) + 1, std::move(room));
    Page& page = pages_[number];  // from here on nothing allocates
    const auto tail = page.begin() + static_cast<std::ptrdiff_t>(cut);
    Page& next = pages_[number + 1];
    next.insert(next.end(), std::make_move_iterator(tail), std::make_move_iterator(page.end()));
    page.erase(tail, page.end());
}

void Entries::erase(const_iterator position) noexcept {
    const auto number = position.page_ - pages_.data();
    Page& page = pages_[static_cast<std::size_t>(number)];
    page.erase(page.begin() + (position.entry_ - page.data()));
    if (page.empty()) {
        pages_.erase(pages_.begin() + number);
    }
    --size_;
}

void Entries::clear() noexcept {
    pages_.clear();
    size_ = 0;
}

void Entries::swap(Entries& other) noexcept {
    pages_.swap(other.pages_);
    std::swap(size_, other.size_);
}

void Entries::reserve(unsigned long count) noexcept {
    if (pages_.size() > 1 || count == 0) {
        return;
    }
    try {
        if (pages_.empty()) {
            pages_.emplace_back();
        }
        pages_.front().reserve(std::min<std::size_t>(count, PAGE_SIZE));
    } catch (const std::bad_alloc&) {
        return;  // a hint
    }
}

}  // namespace util::config
