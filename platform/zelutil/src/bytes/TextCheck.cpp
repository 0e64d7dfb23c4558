#include "bytes/TextCheck.h"

#include <simdjson.h>

#include "json/JsonDetection.h"

namespace util {

namespace {

const json::ProcessorDetection DETECTION;

}  // namespace

bool isLongUtf8(std::string_view bytes) noexcept {
    return simdjson::validate_utf8(bytes.data(), bytes.size());
}

}  // namespace util
