#include "mock_client/api_check.h"

#include <cstdio>

#include "mock_client/client.h"
#include "mock_client/console.h"

void api_check_begin(const char *name)
{
    printf(">>> Checking %s...", name);
    fflush(stdout); // a call may take minutes: show what is being waited for
}

void api_check_end(int32_t result)
{
    console_error_text(result == 0 ? "passed\n" : "failed\n");
    api_count++;
}
