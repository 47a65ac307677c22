// A library for the client to call: it shows each call with its arguments on standard output,
// "[kelvane_device_delete(0)]", and answers as told.
#ifndef TESTS_MOCK_CLIENT_FAKE_KELVANE_H
#define TESTS_MOCK_CLIENT_FAKE_KELVANE_H

#include <cstdint>

struct fake_answer {
    const char *call; // how the call as shown begins; "" for none
    int32_t result;
};

const fake_answer ALL_SUCCEED = {"", 0};

constexpr int FAKE_KELVANE_EXHAUSTED = 99; // exit status of a process that called 1000 times

void fake_kelvane_start(const fake_answer &answer); // all others succeed

// kelvane_enable_msi normally ends its thread, so that a run has no interrupts. With this it returns.
void fake_kelvane_let_interrupts_in();

#endif
