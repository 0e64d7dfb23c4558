#pragma once

#include <string>
#include <vector>

#include "kova/core/Payload.h"
#include "kova/kit/Result.h"
#include "kova/kit/Service.h"

namespace kova::kit::detail {

/// Returns an OpenAPI 3.1 document of the mounts, in a mime type.
///
/// The commands retrieve, update, insert and delete become the methods GET, PUT, POST and DELETE.
/// What a document cannot express is listed under "x-kova-operations" of its path: other commands,
/// and templates that differ from another one only in the kinds of their parameters. Bytes of a
/// path that URLs do not contain are percent-encoded.
Result<Payload> openApi(const std::string& name, const std::string& version,
                        const std::vector<MountInfo>& mounts, const std::string& mimeType);

}  // namespace kova::kit::detail
