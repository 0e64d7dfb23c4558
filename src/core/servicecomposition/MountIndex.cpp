#include "servicecomposition/MountIndex.h"

#include <algorithm>
#include <cstring>

namespace kova::detail {

namespace {

constexpr unsigned HASH_BITS = 64;
// 2^64 divided by the golden ratio, as in Knuth's multiplicative hashing.
constexpr std::uint64_t MULTIPLIER = 0x9E3779B97F4A7C15U;

template <typename Word>
std::uint64_t load(char const* text) noexcept {
    Word word;
    std::memcpy(&word, text, sizeof(word));
    return word;
}

std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) noexcept {
    hash = (hash ^ word) * MULTIPLIER;
    return hash ^ hash >> 32U;
}

// Returns a word that contains the bytes of a text of up to seven characters. The word may contain
// some of the bytes twice.
std::uint64_t shortWord(std::string_view text) noexcept {
    constexpr std::size_t HALF = sizeof(std::uint32_t);
    if (text.size() >= HALF) {
        return load<std::uint32_t>(text.data()) << 32U |
               load<std::uint32_t>(text.data() + text.size() - HALF);
    }
    std::uint64_t word = 0;
    for (const char c : text) {
        word = word << 8U | static_cast<unsigned char>(c);
    }
    return word;
}

// Returns the hash of a path. The hash needs no secret, because the service chooses the mount paths
// and a request cannot add any. A look-up visits at most the longest run of occupied slots.
std::uint64_t hashOf(std::string_view text) noexcept {
    constexpr std::size_t WORD = sizeof(std::uint64_t);
    std::uint64_t hash = text.size();
    if (text.size() < WORD) {
        return mixed(hash, shortWord(text));
    }
    for (std::size_t at = 0; at + WORD < text.size(); at += WORD) {
        hash = mixed(hash, load<std::uint64_t>(text.data() + at));
    }
    return mixed(hash, load<std::uint64_t>(text.data() + text.size() - WORD));
}

}  // namespace

MountIndex::MountIndex(const std::vector<const Mount*>& mounts) : shift_(HASH_BITS - 1) {
    std::size_t capacity = 2;
    for (; capacity < 2 * mounts.size(); capacity *= 2) {
        --shift_;
    }
    slots_.resize(capacity);
    for (const Mount* const mount : mounts) {
        const std::uint64_t hash = hashOf(mount->first);
        std::size_t at = hash >> shift_;
        while (slots_[at].mount != nullptr) {
            at = (at + 1) % capacity;
        }
        slots_[at] = {hash, mount};
    }
}

const MountIndex::Mount* MountIndex::find(std::string_view path) const noexcept {
    const std::uint64_t hash = hashOf(path);
    std::size_t at = hash >> shift_;
    while (slots_[at].mount != nullptr &&
           (slots_[at].hash != hash || slots_[at].mount->first != path)) {
        at = (at + 1) & (slots_.size() - 1);
    }
    return slots_[at].mount;
}

void MountIndex::clear() noexcept {
    std::fill(slots_.begin(), slots_.end(), Slot{});
}

}  // namespace kova::detail
