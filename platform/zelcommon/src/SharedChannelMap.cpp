#include "tracing/SharedChannelMap.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "osal/Environment.h"
#include "osal/Mutex.h"

namespace tracing {

namespace {

// Returns whether `name` matches `pattern`, in which "*" matches any text. Needs no recursion: on a
// mismatch it suffices to extend the text that the latest "*" matches by one character.
bool matches(std::string_view pattern, std::string_view name) {
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t star = std::string_view::npos;
    std::size_t resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (p < pattern.size() && pattern[p] == name[n]) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::optional<int> parseLevel(std::string_view text) {
    int level = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, level);
    return result.ec == std::errc() && result.ptr == end ? std::optional<int>(level) : std::nullopt;
}

}  // namespace

struct SharedChannelMap::State {
    struct Owned {
        std::unique_ptr<Channel> channel;
        unsigned long references = 0;
    };

    /// Recursive: `map` and `unmap` create and destroy channels under the lock, and the constructor
    /// and destructor of a channel call `add` and `remove`.
    osal::Mutex mutex{true};
    /// All channels with the flag `SHARED`. A name may occur more than once, because two libraries
    /// may choose the same one.
    std::multimap<std::string, Channel*> channels;
    /// The channels that `map` created.
    std::map<std::string, Owned> owned;
    /// Levels by pattern, in the order in which they were set.
    std::vector<std::pair<std::string, int>> levels;
    /// True if ZEL_TRACE is malformed and the mistake was not reported yet.
    std::atomic<bool> malformed{false};
};

SharedChannelMap::SharedChannelMap() : state_(std::make_unique<State>()) {
    state_->malformed = configure(osal::Environment::getVariable("ZEL_TRACE"));
}

SharedChannelMap& SharedChannelMap::instance() {
    static auto* const map = new SharedChannelMap();
    // The mistake is reported only after the initialization, because the sink may call instance()
    // itself.
    if (map->state_->malformed.exchange(false)) {
        Channel("TRACING", 4, 0).traceText(4, "ZEL_TRACE is malformed: expected PATTERN=LEVEL,…");
    }
    return *map;
}

void SharedChannelMap::add(Channel& channel) {
    const std::lock_guard<osal::Mutex> guard(state_->mutex);
    state_->channels.emplace(channel.name(), &channel);
    for (const auto& [pattern, level] : state_->levels) {
        if (matches(pattern, channel.name())) {
            channel.setLevel(level);
        }
    }
}

void SharedChannelMap::remove(Channel& channel) noexcept {
    const std::lock_guard<osal::Mutex> guard(state_->mutex);
    const auto [first, last] = state_->channels.equal_range(channel.name());
    const auto found =
        std::find_if(first, last, [&](const auto& entry) { return entry.second == &channel; });
    if (found != last) {
        state_->channels.erase(found);
    }
}

Channel* SharedChannelMap::map(const std::string& name) {
    const std::lock_guard<osal::Mutex> guard(state_->mutex);
    auto owned = state_->owned.find(name);
    if (owned == state_->owned.end()) {
        auto channel = std::make_unique<Channel>(name, Channel::SILENT, Channel::SHARED);
        owned = state_->owned.emplace(name, State::Owned{std::move(channel), 0}).first;
    }
    ++owned->second.references;
    return owned->second.channel.get();
}

void SharedChannelMap::unmap(const std::string& name) {
    const std::lock_guard<osal::Mutex> guard(state_->mutex);
    const auto owned = state_->owned.find(name);
    if (owned != state_->owned.end() && --owned->second.references == 0) {
        state_->owned.erase(owned);
    }
}

std::size_t SharedChannelMap::setLevel(std::string_view pattern, int level) {
    const std::lock_guard<osal::Mutex> guard(state_->mutex);
    auto& levels = state_->levels;
    levels.erase(std::remove_if(levels.begin(), levels.end(),
                                [&](const auto& entry) { return entry.first == pattern; }),
                 levels.end());
    levels.emplace_back(pattern, level);
    std::size_t count = 0;
    for (const auto& [name, channel] : state_->channels) {
        if (matches(pattern, name)) {
            channel->setLevel(level);
            ++count;
        }
    }
    return count;
}

std::vector<std::pair<std::string, int>> SharedChannelMap::levels() const {
    const std::lock_guard<osal::Mutex> guard(state_->mutex);
    std::vector<std::pair<std::string, int>> result;
    for (const auto& [name, channel] : state_->channels) {
        result.emplace_back(name, channel->level());
    }
    return result;
}

bool SharedChannelMap::configure(std::string_view list) {
    bool failed = false;
    bool more = !list.empty();
    while (more) {
        const std::string_view piece = list.substr(0, list.find(','));
        more = piece.size() < list.size();
        list.remove_prefix(piece.size() + (more ? 1 : 0));
        const std::size_t equals = piece.rfind('=');
        const std::optional<int> level =
            equals != std::string_view::npos ? parseLevel(piece.substr(equals + 1)) : std::nullopt;
        if (!level || equals == 0) {
            failed = true;
        } else {
            setLevel(piece.substr(0, equals), *level);
        }
    }
    return failed;
}

}  // namespace tracing
