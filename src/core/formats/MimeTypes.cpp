#include "kova/core/MimeTypes.h"

#include "formats/PayloadFormat.h"

namespace kova::mimetypes {

MimeTypeID typename2id(const std::string& name) noexcept {
    detail::PayloadFormat const* const format = detail::PayloadFormat::find(name);
    return format != nullptr && format->isTranslated ? format->id : Undefined;
}

}  // namespace kova::mimetypes
