#include "mock_client/tokens.h"

#include <cstdlib>
#include <cstring>

namespace {
constexpr const char *DELIMITER = " ";
}

bool next_token(const char *&rest, std::string &token)
{
    if (rest == nullptr) {
        return false;
    }
    rest += strspn(rest, DELIMITER);
    const size_t length = strcspn(rest, DELIMITER);
    if (length == 0) {
        return false;
    }
    token.assign(rest, length);
    rest += length;
    return true;
}

int32_t decimal_of(const std::string &token)
{
    return static_cast<int32_t>(strtoul(token.c_str(), nullptr, 10));
}

uint32_t hexadecimal_of(const std::string &token)
{
    return static_cast<uint32_t>(strtoul(token.c_str(), nullptr, 16));
}
