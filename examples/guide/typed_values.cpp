// Dates, times, colours, positions and units: typed values with a text form.
#include <iostream>
#include <memory>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/Payload.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Units.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "zel/ErrorStorage.h"

namespace dov = kova::dovglobals;

// Returns the JSON payload of a typed value. Every type has an overload of `serialize`.
template <typename T>
kova::Payload payloadOf(const T& value) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> out(
        kova::serializer::Factory::createSerializer(kova::mimetypes::JSON));
    util::ByteBufferWriter bytes(64);
    unsigned long size = 0;
    const bool failed = out->beginSerialize(&bytes, nullptr) ||
                        kova::serializer::serialize(*out, value) || out->endSerialize(size);
    return failed ? kova::Payload()
                  : kova::Payload::createFromWriter(bytes, kova::mimetypes::JSON_TYPE);
}

// Reads a typed value with its overload of `deserialize`. Returns false on success.
template <typename T>
bool readFrom(const kova::Payload& payload, T& value) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> in(
        kova::serializer::Factory::createDeserializer(kova::mimetypes::JSON));
    util::ByteBufferReader bytes(payload.data(), payload.size(), false);
    return in->beginDeserialize(&bytes, nullptr) || kova::serializer::deserialize(*in, value) ||
           in->endDeserialize();
}

template <typename T>
void show(char const* name, const T& value) {
    std::string text;
    kova::Payload::createStringFrom(payloadOf(value), text, true);
    std::cout << name << ": " << text << '\n';
}

int main() {
    show("date", dov::Date(2024, 2, 29));
    show("clamped date", dov::Date(2024, 13, 0));
    show("duration", dov::Duration(0, 1, 2, 3, 4, 5));
    show("colour", dov::RGBA(255, 128, 0, 0.5F));
    show("position", dov::GeoPosition(52.52, 13.405, 34));
    show("unit", dov::SpeedUnit::m_per_s);

    // Parsing a text returns an optional.
    const auto start = dov::parseDateTime("2024-02-29T08:05:09.042+02:00");
    std::cout << "the hour is " << int{start->time.hour} << ", " << int{start->time.timeZone->hours}
              << " ahead of UTC\n";
    std::cout << "km/h is " << (dov::valueToSpeedUnit("km/h") ? "a" : "no")
              << " unit of speed, kmh is " << (dov::valueToSpeedUnit("kmh") ? "a" : "no")
              << " unit of speed\n";

    // A failure remains the thread's latest error until it is acknowledged.
    zel::ErrorStorage& latest = zel::ErrorStorage::current();
    if (!dov::parseDate("29.2.2024")) {
        std::cout << "not a date: " << latest.reason() << '\n';
        latest.acknowledge();
    }
    dov::Date date(2000, 1, 1);
    if (readFrom(kova::Payload::createFromJSON(R"("2024-02-30")"), date)) {
        std::cout << "no date in the payload, still " << date.toString() << '\n';
    } else {
        std::cout << "the payload is " << date.toString() << ", no calendar is asked\n";
    }
}
