#include "kova/kit/values/Containers.h"

#include <algorithm>

namespace kova::kit::detail {

Blob Codec<Blob>::toBlob(const std::vector<std::uint8_t>& bytes) {
    std::shared_ptr<unsigned char[]> copy(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return {std::move(copy), bytes.size()};
}

}  // namespace kova::kit::detail
