#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include "kova/kit/values/Struct.h"

// The codecs of durations and points in time. A duration is written as the text of
// `dovglobals::Duration`, or as a count if the description of the field requires it. A point in
// time is written as the text of `dovglobals::DateTime`.
namespace kova::kit::detail {

/// The longest duration that can be written as text: 31 days, 23 hours, 59 minutes and 59 seconds.
/// Months are not used, because a month has no fixed length.
constexpr std::int64_t LONGEST_SECONDS = 32 * 86400 - 1;

/// Returns the text of a number of seconds from 0 to `LONGEST_SECONDS`.
KOVA_KIT_API std::string formatSeconds(std::int64_t seconds);
/// Sets `seconds` to the duration of the text. Returns false if the text is not a duration, or has
/// years or months.
KOVA_KIT_API bool parseSeconds(const std::string& text, std::int64_t& seconds);

/// The codec of durations. The text contains whole seconds.
template <typename Rep, typename Period>
struct Codec<std::chrono::duration<Rep, Period>> {
    using Duration = std::chrono::duration<Rep, Period>;
    static constexpr Kind KIND = Kind::Text;

    template <class In>
    static bool read(In& in, Duration& out) {
        std::string text;
        if (!Codec<std::string>::read(in, text)) {
            return false;
        }
        std::int64_t seconds = 0;
        if (!parseSeconds(text, seconds)) {
            return in.refuse("a duration without years and months", State::quoted(text));
        }
        // The number of ticks is exact, because the seconds are below 2^22.
        const long double ticks = static_cast<long double>(seconds) * Period::den / Period::num;
        if (ticks > static_cast<long double>(std::numeric_limits<Rep>::max()) ||
            static_cast<long double>(static_cast<Rep>(ticks)) != ticks) {
            return in.refuse("a duration that its type can represent", State::quoted(text));
        }
        out = Duration(static_cast<Rep>(ticks));
        return true;
    }
    template <class Out>
    static bool write(Out& out, const Duration& value) {
        const long double seconds =
            static_cast<long double>(value.count()) * Period::num / Period::den;
        if (!(seconds >= 0 && seconds <= LONGEST_SECONDS) ||
            static_cast<long double>(static_cast<std::int64_t>(seconds)) != seconds) {
            return out.refuse("a duration of whole seconds below 32 days",
                              std::to_string(value.count()) + " ticks");
        }
        return out.value(std::string_view(formatSeconds(static_cast<std::int64_t>(seconds))));
    }
};

/// @{
/// The first second that can be written as text (begin of the year 1), and the first one after the
/// year 9999, in seconds since 1970.
constexpr std::int64_t FIRST_SECOND = -62'135'596'800;
constexpr std::int64_t END_OF_SECONDS = 253'402'300'800;
/// @}

/// Returns the text of a time in UTC. `milliseconds` counts from 1970 and must be in the years 1 to
/// 9999.
KOVA_KIT_API std::string formatTime(std::int64_t milliseconds);
/// Parses the text of a date and time, and sets `milliseconds` to the time since 1970 in UTC.
/// Returns false if the text is not a date and time.
KOVA_KIT_API bool parseTime(const std::string& text, std::int64_t& milliseconds);

/// The codec of points in time of the system's clock. The text contains milliseconds; smaller units
/// are cut off.
template <typename Duration>
struct Codec<std::chrono::time_point<std::chrono::system_clock, Duration>> {
    using Time = std::chrono::time_point<std::chrono::system_clock, Duration>;
    using Rep = typename Duration::rep;
    using Period = typename Duration::period;
    static constexpr Kind KIND = Kind::Text;

    template <class In>
    static bool read(In& in, Time& out) {
        std::string text;
        if (!Codec<std::string>::read(in, text)) {
            return false;
        }
        std::int64_t milliseconds = 0;
        if (!parseTime(text, milliseconds)) {
            return in.refuse("a date and time", State::quoted(text));
        }
        const long double ticks =
            static_cast<long double>(milliseconds) * Period::den / (1000.0L * Period::num);
        if (ticks < static_cast<long double>(std::numeric_limits<Rep>::lowest()) ||
            ticks > static_cast<long double>(std::numeric_limits<Rep>::max()) ||
            static_cast<long double>(static_cast<Rep>(ticks)) != ticks) {
            return in.refuse("a time that its type can represent", State::quoted(text));
        }
        out = Time(Duration(static_cast<Rep>(ticks)));
        return true;
    }
    template <class Out>
    static bool write(Out& out, const Time& value) {
        const auto ticks = value.time_since_epoch();
        const long double seconds =
            static_cast<long double>(ticks.count()) * Period::num / Period::den;
        if (!(seconds >= FIRST_SECOND && seconds < END_OF_SECONDS)) {
            return out.refuse("a time from the years 1 to 9999",
                              std::to_string(ticks.count()) + " ticks since 1970");
        }
        const auto whole = std::chrono::floor<std::chrono::milliseconds>(ticks);
        return out.value(std::string_view(formatTime(static_cast<std::int64_t>(whole.count()))));
    }
};

/// The codec of a duration that payloads contain as the number of its ticks.
template <typename Rep, typename Period>
struct FieldCodec<std::chrono::duration<Rep, Period>, CountForm> {
    template <class In>
    static bool read(In& in, std::chrono::duration<Rep, Period>& out) {
        Rep ticks{};
        if (!Codec<Rep>::read(in, ticks)) {
            return false;
        }
        out = std::chrono::duration<Rep, Period>(ticks);
        return true;
    }
    template <class Out>
    static bool write(Out& out, const std::chrono::duration<Rep, Period>& value) {
        return Codec<Rep>::write(out, value.count());
    }
};

/// The codec of an optional duration. Payloads contain null, or the number of its ticks.
template <typename Duration>
struct FieldCodec<std::optional<Duration>, CountForm> {
    template <class In>
    static bool read(In& in, std::optional<Duration>& out) {
        if (in.kind() == Kind::Null) {
            out.reset();
            return in.null();
        }
        return FieldCodec<Duration, CountForm>::read(in, out.emplace());
    }
    template <class Out>
    static bool write(Out& out, const std::optional<Duration>& value) {
        return value ? FieldCodec<Duration, CountForm>::write(out, *value) : out.null();
    }
};

}  // namespace kova::kit::detail
