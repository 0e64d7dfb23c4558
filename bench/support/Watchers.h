#pragma once

#include <cstddef>

#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"
#include "support/KitTrack.h"

/// Declarations that the contestants of `kit_streams_bench` share.
namespace kova::bench {

KOVA_FIELDS(KitTrack, number, id, length, liked, gain, rating, title, artist, album, year)

/// The numbers of watchers.
constexpr std::size_t FEW_WATCHERS = 1;
constexpr std::size_t MANY_WATCHERS = 1000;

/// The names of the cases.
constexpr char const* SET_FOR_FEW = "set ten fields, 1 watcher";
constexpr char const* SET_FOR_MANY = "set ten fields, 1 000 watchers";

/// The part of a watcher that all contestants share: it adds up the sizes of the values.
struct Sink {
    std::size_t bytes = 0;
    void receive(const Payload& value) noexcept { bytes += value.size(); }
};

}  // namespace kova::bench
