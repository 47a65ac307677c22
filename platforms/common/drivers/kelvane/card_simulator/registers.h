// The registers of a sirane that have a name, with the values that they hold after a reset. Every other
// 16-bit register number exists too, nameless and 0 after a reset.
#ifndef CARD_SIMULATOR_REGISTERS_H
#define CARD_SIMULATOR_REGISTERS_H

#include <cstdint>

struct named_register {
    uint32_t number;
    uint32_t start;
    const char *name;
};

constexpr uint32_t LAST_REGISTER = 0xFFFF;

constexpr named_register SIRANE_REGISTERS[] = {
    {0x9000, 0x51A0, "Device Identification"},
    {0x9001, 0x0002, "Device Revision"},
    {0x9010, 0x0001, "Device Setup Control"},
    {0x9018, 0x0000, "Network Lanes Master Enable Control"},
    {0x9020, 0x0000, "Host Lanes Client Interface Definition Control"},
    {0x9030, 0x3210, "Independent Lanes Client TX Interface x to Network Lane n Mapping"},
    {0x9040, 0x3210, "Independent Lanes Network Lane n to Client RX Interface x Mapping"},
    {0x9100, 0x0002, "Network Lane 0 FEC Mode Control"},
    {0x9101, 0x0002, "Network Lane 1 FEC Mode Control"},
    {0x9200, 0x0080, "Client Interface 0 General Control"},
    {0x9201, 0x0080, "Client Interface 1 General Control"},
    {0x9202, 0x0080, "Client Interface 2 General Control"},
    {0x9203, 0x0080, "Client Interface 3 General Control"},
};

#endif
