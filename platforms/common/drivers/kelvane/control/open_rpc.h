// The table of operations as an OpenRPC document, from which programs learn what there is to call.
#ifndef CONTROL_OPEN_RPC_H
#define CONTROL_OPEN_RPC_H

#include <string>

#include "control/operations.h"
#include "control/record_json.h"

// A method of the document: "x-effect" tells whether it reads, sets, disturbs traffic, restarts or copies.
json open_rpc_method(const operation &operation, host_kind kind);

// The whole of it; `own` are the methods that an owner of the card adds to the table.
json open_rpc_document(host_kind kind, const json &own);

// "1.43". Asks nothing of the library, which may be just starting.
std::string library_version();

const char *word_of_effect(effect effect);

#endif
