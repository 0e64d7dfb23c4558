#pragma once

#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "support/Fuzz.h"
#include "support/Trees.h"

namespace fuzz {

/// Returns a payload: the next byte of the input selects its mime type, and the rest is its
/// content.
kova::Payload anyPayload(Input& input);

/// Serializes `tree`, which must be a dictionary or an array, and returns the tree that is read
/// back; `type` is the name of the format. Requires that both succeed, and that Payload and the
/// deserializer read the same tree.
kova::test::Tree throughFormat(kova::mimetypes::MimeTypeID id, char const* type,
                               util::config::Value& tree);

}  // namespace fuzz
