#include "kova/core/StatusCodes.h"

namespace kova::statuscodes {

namespace {

struct Row {
    unsigned short code;
    char const* text;
};

constexpr Row ROWS[] = {{OK, "Ok"},
                        {CREATED, "Created"},
                        {NO_CONTENT, "No Content"},
                        {MULTI_RESPONSE, "Multi Response"},
                        {STREAM, "Stream"},
                        {NOT_MODIFIED, "Not Modified"},
                        {BAD_REQUEST, "Bad Request"},
                        {UNAUTHORIZED, "Unauthorized"},
                        {FORBIDDEN, "Forbidden"},
                        {NOT_FOUND, "Not Found"},
                        {CONFLICT, "Conflict"},
                        {EXPECTATION_FAILED, "Expectation Failed"},
                        {INTERNAL_SERVER_ERROR, "Internal Server Error"},
                        {NOT_IMPLEMENTED, "Not Implemented"},
                        {BAD_GATEWAY, "Bad Gateway"},
                        {SERVICE_UNAVAILABLE, "Service Unavailable"},
                        {GATEWAY_TIMEOUT, "Gateway Timeout"}};

}  // namespace

std::string toString(unsigned short code) {
    for (const Row& row : ROWS) {
        if (row.code == code) {
            return row.text;
        }
    }
    return "unknown";
}

}  // namespace kova::statuscodes
