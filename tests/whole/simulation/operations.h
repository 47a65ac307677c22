// What an application does in a run, chosen step by step.
#ifndef TESTS_SIMULATION_OPERATIONS_H
#define TESTS_SIMULATION_OPERATIONS_H

#include <cstdint>

// One application, the body of a fiber: some steps, each an operation, a fault or a pause.
void application(uint32_t number);

// The link once more, up to the end of a run: then every sirane has to answer.
void last_word();

#endif
