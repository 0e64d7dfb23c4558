#include "nats/Credentials.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "kova/core/StatusCodes.h"

namespace kova::nats::detail {

namespace {

// The line in front of the JWT.
constexpr char const* BEGIN = "-----BEGIN NATS USER JWT-----";

kit::Error refusal(const std::string& file, const std::string& reason) {
    return {statuscodes::SERVICE_UNAVAILABLE, "the credentials file '" + file + "' " + reason};
}

bool hasJwt(std::ifstream& in) {
    std::string line;
    while (std::getline(in, line)) {
        if (line.find(BEGIN) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

kit::Result<void> checkCredentials(const std::string& file) {
    std::error_code error;
    const bool isRegular = std::filesystem::is_regular_file(file, error);
    const std::uintmax_t size = isRegular ? std::filesystem::file_size(file, error) : 0;
    if (error) {
        return refusal(file, "cannot be read: " + error.message());
    }
    if (!isRegular) {
        return refusal(file, "is not a regular file");
    }
    if (size > LONGEST_CREDENTIALS) {
        return refusal(file, "has more than " + std::to_string(LONGEST_CREDENTIALS) + " bytes");
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return refusal(file, "cannot be read: " + std::generic_category().message(errno));
    }
    return hasJwt(in) ? kit::Result<void>() : refusal(file, "has no JWT of a user");
}

}  // namespace kova::nats::detail
