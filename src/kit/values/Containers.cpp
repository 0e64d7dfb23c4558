#include "kova/kit/values/Containers.h"

#include "SharedBytes.h"

namespace kova::kit::detail {

Blob Codec<Blob>::toBlob(const std::vector<std::uint8_t>& bytes) {
    return shareBytes(bytes.data(), bytes.size());
}

}  // namespace kova::kit::detail
