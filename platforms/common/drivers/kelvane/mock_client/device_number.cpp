#include "mock_client/device_number.h"

#include <string>

#include "mock_client/console.h"
#include "mock_client/tokens.h"

bool next_device_number(const char *&rest, int32_t &device)
{
    std::string token;
    if (!next_token(rest, token)) {
        console_error("Device address not found or invalid");
        return false;
    }
    device = decimal_of(token);
    return true;
}
