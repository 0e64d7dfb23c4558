#pragma once

#include <string>
#include <vector>

#include "kova/core/Payload.h"
#include "kova/kit/Result.h"
#include "kova/kit/Service.h"

namespace kova::kit::detail {

/// Returns an OpenAPI 3.1 document that describes the mounts, as a payload of the mime type.
///
/// The commands retrieve, update, insert and delete become the methods GET, PUT, POST and DELETE.
/// Some operations cannot be expressed in OpenAPI: other commands, and templates that differ from
/// another template only in the kinds of their parameters. They are listed under
/// "x-kova-operations" of their path. Bytes of a path that a URL must not contain are
/// percent-encoded.
Result<Payload> openApi(const std::string& name, const std::string& version,
                        const std::vector<MountInfo>& mounts, const std::string& mimeType);

}  // namespace kova::kit::detail
