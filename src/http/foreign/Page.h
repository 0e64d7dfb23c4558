#pragma once

#include <optional>
#include <string_view>

#include "foreign/Fields.h"
#include "foreign/Mapping.h"

// The page that shows a service to a person with a browser (docs/page.md). Its files are in
// src/http/page; CMake compresses them and compiles them into the library. Any thread may call the
// function.
namespace kova::http::detail {

/// A file of the page.
struct PageFile {
    std::string_view path;  ///< of its target
    std::string_view mediaType;
    /// The entity tag, with its quotation marks: a hash of the file.
    std::string_view entityTag;
    /// The file, compressed with gzip. All browsers accept that.
    std::string_view bytes;
};

/// The number of files.
constexpr std::size_t PAGE_FILE_COUNT = 3;
/// The files. The first one is the document.
extern const PageFile PAGE_FILES[PAGE_FILE_COUNT];

/// Returns the answer to a request for a file of the page: for GET and HEAD of a path below
/// "/.kova/page/", and of "/" if the client prefers `text/html`. The answer is 304 if the client
/// has the file, and 404 if there is no file with the path. Returns nothing for all other requests.
std::optional<HttpReply> toPageReply(const HttpRequest& request);

}  // namespace kova::http::detail
