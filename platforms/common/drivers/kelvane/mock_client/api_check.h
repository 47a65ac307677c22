// The pattern around every library call whose outcome the operator should see.
#ifndef MOCK_CLIENT_API_CHECK_H
#define MOCK_CLIENT_API_CHECK_H

#include <cstdint>
#include <type_traits>

void api_check_begin(const char *name); // ">>> Checking <name>..."
void api_check_end(int32_t result);     // the same line's "passed" for 0, otherwise "failed"

// Calls `call`, says under `name` (the library's public one) whether it passed, counts it, and returns
// what the call returned.
template <typename... parameter>
int32_t client_api_check(const char *name, int32_t (*call)(parameter...),
                         std::type_identity_t<parameter>... arguments)
{
    api_check_begin(name);
    const int32_t result = call(arguments...);
    api_check_end(result);
    return result;
}

#endif
