// Values of the kit: bytes are read as a struct with members of many types. They are either
// rejected, or the value survives a round trip through both formats. The fast path has the same
// outcome, value and bytes as the general one.
#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Units.h"
#include "kova/core/url.h"
#include "kova/kit/Values.h"
#include "support/Fuzz.h"
#include "zel/UUID.h"

using namespace kova;
using namespace kova::kit;

namespace {

enum class Mode { stopped, playing, unknown };
KOVA_ENUM(Mode, stopped, as("PLAY", playing), fallback(unknown))

struct Point {
    float x = 0;
    double y = 0;
};
KOVA_FIELDS(Point, strict(), x, optional(y))

struct Node {
    std::string name;
    std::vector<Node> children;
};
KOVA_FIELDS(Node, optional(as("n", name)), optional(as("c", children)))

struct Numbers {
    bool flag = false;
    std::int8_t i8 = 0;
    std::uint16_t u16 = 0;
    std::int32_t i32 = 0;
    std::uint64_t u64 = 0;
    std::vector<std::uint8_t> bytes;
    std::vector<double> doubles;
};
KOVA_FIELDS(Numbers, optional(flag), optional(i8), optional(u16), optional(i32), optional(u64),
            optional(bytes), optional(doubles))

using Choice = std::variant<std::monostate, bool, std::string, Point, Mode>;

struct Rich : Numbers {
    Mode mode = Mode::stopped;
    std::array<Point, 2> line;
    std::map<std::string, Choice> choices;
    std::optional<std::vector<std::optional<int>>> holes;
    Node tree;
    std::chrono::seconds after{};
    std::chrono::milliseconds at{};
    std::optional<dovglobals::DateTime> start;
    dovglobals::SpeedUnit unit = dovglobals::SpeedUnit::kmh;
    zel::UUID id;
    Path path;
    url link;
    Number number;
    std::optional<Payload> body;
    std::optional<Blob> blob;
};
KOVA_FIELDS(Rich, base(Numbers), optional(as("m", mode)), optional(as("l", line)),
            optional(as("ch", choices)), as("h", holes), optional(as("t", tree)),
            optional(as("a", after)), optional(as("at", count(at))), as("s", start),
            optional(as("u", unit)), optional(id), optional(as("p", path)),
            optional(as("url", link)), optional(number), body, blob)

std::string bytesOf(const Payload& payload) {
    return {reinterpret_cast<char const*>(payload.data()), payload.size()};
}

/// Returns the binary payload of the value, or nothing if it cannot be written, because a date that
/// is out of its range has no text.
std::optional<Payload> binaryOf(const Rich& value) {
    Result<Payload> payload = toPayload(value, mimetypes::AXOBIN_TYPE);
    return payload ? std::optional(*payload) : std::nullopt;
}

void checkRoundTrips(const Rich& value) {
    const std::optional<Payload> binary = binaryOf(value);
    fuzz::require(binary.has_value(), "a value that was read can be written");
    const Result<Rich> copy = fromPayload<Rich>(*binary);
    fuzz::require(copy.ok() && binaryOf(*copy).has_value(), "what was written can be read");
    const std::string again = bytesOf(*binaryOf(*copy));
    fuzz::requireEqual(again, bytesOf(*binary), "a round trip does not change the value");
    // JSON cannot represent NaN and strings that are not UTF-8.
    if (const Result<Payload> json = toPayload(value)) {
        const Result<Rich> fromJson = fromPayload<Rich>(*json);
        fuzz::require(fromJson.ok(), "JSON that was written can be read");
        fuzz::requireEqual(bytesOf(*toPayload(*fromJson)), bytesOf(*json),
                           "a round trip through JSON does not change the value");
    }
}

void checkReason(const Error& error) {
    fuzz::require(error.code == 400, "a read fails with the code 400");
    fuzz::require(
        error.message.find("expected ") != std::string::npos && fuzz::lacks(error.message, "\n\r"),
        "the reason is a line that names what was expected");
}

void checkBothWays(const Payload& payload, const Limits& limits, const Result<Rich>& value) {
    const Result<Rich> general = kova::kit::detail::readGeneral<Rich>(payload, limits);
    fuzz::require(general.ok() == value.ok(), "both ways have the same verdict");
    if (value) {
        fuzz::requireEqual(bytesOf(*binaryOf(*value)), bytesOf(*binaryOf(*general)),
                           "both ways read the same value");
        const Result<Payload> written = kova::kit::detail::writePayload(
            mimetypes::AXOBIN_TYPE, Limits(),
            &kova::kit::detail::writeErased<kova::kit::detail::Writer, Rich>, &*value);
        fuzz::requireEqual(bytesOf(*written), bytesOf(*binaryOf(*value)),
                           "both ways write the same bytes");
    } else {
        fuzz::requireEqual(value.error().message, general.error().message,
                           "both ways have the same reason");
    }
}

void read(const Payload& payload) {
    Limits limits;
    limits.elements = 1000;
    const Result<Rich> value = fromPayload<Rich>(payload, limits);
    checkBothWays(payload, limits, value);
    if (value) {
        checkRoundTrips(*value);
    } else {
        checkReason(value.error());
    }
    const Result<Tree> tree = fromPayload<Tree>(payload, limits);
    fuzz::require(tree.ok() || !value.ok(), "what has a value has a tree");
    static_cast<void>(fuzz::takeReports());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    for (char const* mimeType : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE}) {
        read(Payload::createFromRaw(data, size, mimeType));
    }
    return 0;
}
