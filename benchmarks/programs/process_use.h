// What another process takes of the machine.
#ifndef BENCHMARKS_PROCESS_USE_H
#define BENCHMARKS_PROCESS_USE_H

#include <string>

#include <sys/types.h>

// The share of a processor that it has over some seconds, in percent.
double processor_percent(pid_t pid, unsigned seconds);

// Pages that no other process maps, without those of files in the folder that `without` names, if any.
double private_mebibytes(pid_t pid, const std::string &without);

#endif
