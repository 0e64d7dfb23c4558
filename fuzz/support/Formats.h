#pragma once

#include "kova/core/MimeTypes.h"
#include "kova/core/Payload.h"
#include "support/Fuzz.h"
#include "support/Trees.h"

namespace fuzz {

/// A payload of the mime type that the next byte chooses, with the bytes behind it.
kova::Payload anyPayload(Input& input);

/// The tree after it was written in a format and read from there; `type` is the format's name. That
/// both is possible is a law, and that the two ways to read give the same tree. Only a dictionary
/// or an array can be written; `tree` is not changed.
kova::test::Tree throughFormat(kova::mimetypes::MimeTypeID id, char const* type,
                               util::config::Value& tree);

}  // namespace fuzz
