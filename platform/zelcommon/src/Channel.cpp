#include "tracing/Channel.h"

#include <fmt/format.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <utility>

#include "ReplaceableSink.h"
#include "StandardError.h"
#include "tracing/SharedChannelMap.h"

namespace tracing {

namespace {

// Writes a line like "2026-01-31T12:00:00.123456Z 4711 KOVA_EXAMPLE 2: text". The time is in UTC,
// so that the lines of several devices can be compared.
void writeMessage(const Message& message) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    zel::writeLine(fmt::format("{:04d}-{:02d}-{:02d}T{:02d}:{:02d}:{:02d}.{:06d}Z {} {} {}: {}",
                               utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                               utc.tm_min, utc.tm_sec, now.tv_nsec / 1000, syscall(SYS_gettid),
                               message.channel, message.level, message.text));
}

// Never destroyed: channels of other libraries may trace while the process ends.
zel::ReplaceableSink<Message>& sink() {
    static auto* const instance = new zel::ReplaceableSink<Message>(writeMessage);
    return *instance;
}

}  // namespace

Sink setSink(Sink newSink) {
    return sink().replace(std::move(newSink));
}

Channel::Channel(std::string name, int level, unsigned int flags)
    : name_(std::move(name)), level_(level), flags_(flags) {
    if ((flags_ & SHARED) != 0) {
        SharedChannelMap::instance().add(*this);
    }
}

Channel::~Channel() {
    if ((flags_ & SHARED) != 0) {
        SharedChannelMap::instance().remove(*this);
    }
}

void detail::write(const Channel& channel, int level, std::string_view text) noexcept {
    try {
        sink().call({channel.name(), level, text});
    } catch (...) {
        // Tracing must not change the program's behaviour: the message is lost if memory is
        // exhausted or the sink throws.
    }
}

void detail::writeFormat(const Channel& channel, int level, char const* format, ...) noexcept {
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is started above
    const int length = std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }
    const auto size = static_cast<std::size_t>(length);
    if (size < sizeof(buffer)) {
        write(channel, level, {buffer, size});
        return;
    }
    try {
        std::string text(size + 1, '\0');
        va_start(arguments, format);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is started above
        (void)std::vsnprintf(text.data(), text.size(), format, arguments);
        va_end(arguments);
        write(channel, level, std::string_view(text).substr(0, size));
    } catch (...) {
        write(channel, level, {buffer, sizeof(buffer) - 1});
    }
}

}  // namespace tracing
