#include "kova/core/MimeTypes.h"

namespace kova::mimetypes {

namespace {

struct Row {
    char const* name;
    MimeTypeID id;
};

constexpr Row ROWS[] = {{JSON_TYPE, JSON},
                        {PLAIN_TEXT_TYPE, PlainText},
                        {OCTET_STREAM_TYPE, OctetStream},
                        {AXOBIN_TYPE, AXOBin}};

}  // namespace

MimeTypeID typename2id(const std::string& name) noexcept {
    for (const Row& row : ROWS) {
        if (name == row.name) {
            return row.id;
        }
    }
    return Undefined;
}

}  // namespace kova::mimetypes
