#include "util/serializer/IStructuredPullDeserializer.h"

namespace util::serializer {

IStructuredPullDeserializer::~IStructuredPullDeserializer() = default;

bool IStructuredPullDeserializer::getEnum(int& out, int count, bool checked) {
    std::int32_t value = 0;
    if (getInt32(value) || (checked && (value < 0 || value >= count))) {
        return true;
    }
    out = value;
    return false;
}

bool IStructuredPullDeserializer::getString(UnicodeString8&) {
    return true;
}

bool IStructuredPullDeserializer::getString(UnicodeString16&) {
    return true;
}

bool IStructuredPullDeserializer::getString(zel::unicode::String&) {
    return true;
}

bool IStructuredPullDeserializer::beginArrayOption() {
    return false;
}

bool IStructuredPullDeserializer::endArrayOption() {
    return false;
}

bool IStructuredPullDeserializer::beginOption(Options const*) {
    return false;
}

bool IStructuredPullDeserializer::endOption() {
    return false;
}

bool IStructuredPullDeserializer::getEmptyElement(bool& empty) {
    empty = false;
    return false;
}

bool IStructuredPullDeserializer::beginMandatoryField(const std::string&, int) {
    return true;
}

bool IStructuredPullDeserializer::endMandatoryField() {
    return true;
}

bool IStructuredPullDeserializer::beginOptionalField(const std::string&, int, bool&) {
    return true;
}

bool IStructuredPullDeserializer::endOptionalField() {
    return true;
}

unsigned int IStructuredPullDeserializer::getApiCapibilites() const noexcept {
    return 0;
}

}  // namespace util::serializer
