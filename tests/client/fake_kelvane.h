// A library for the client to call: it shows each call with its arguments on standard output,
// "[kelvane_device_delete(0)]", and answers as told. Interrupts there are none, unless they are what fails.
#ifndef TESTS_CLIENT_FAKE_KELVANE_H
#define TESTS_CLIENT_FAKE_KELVANE_H

#include <cstdint>

struct fake_answer {
    const char *call; // how the call as shown begins; "" for none
    int32_t result;
};

extern fake_answer the_answer; // all others succeed

#endif
