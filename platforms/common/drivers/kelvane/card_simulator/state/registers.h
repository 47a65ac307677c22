// The named registers of a sirane, with their values after a reset. Every other 16-bit register number
// exists too, nameless and 0 after a reset.
#ifndef CARD_SIMULATOR_STATE_REGISTERS_H
#define CARD_SIMULATOR_STATE_REGISTERS_H

#include <cstdint>

struct named_register {
    uint32_t number;
    uint32_t start;
    const char *name;
};

constexpr uint32_t REGISTER_MAX = 0xFFFF;

constexpr named_register SIRANE_REGISTERS[] = {
    {0x9000, 0x51A0, "Device Identification"},
    {0x9001, 0x0002, "Device Revision"},
    {0x9010, 0x0001, "Device Setup Control"},
    {0x9018, 0x0000, "Network Lanes Master Enable Control"},
    {0x9020, 0x0000, "Host Lanes Client Interface Definition Control"},
    {0x9030, 0x3210, "Independent Lanes Client TX Interface x to Network Lane n Mapping"},
    {0x9031, 0x0010, "Coupled Lanes Client TX Interface x to Network Lane n Mapping"},
    {0x9040, 0x3210, "Independent Lanes Network Lane n to Client RX Interface x Mapping"},
    {0x9041, 0x0010, "Coupled Lanes Network Lane n to Client RX Interface x Mapping"},
    {0x9100, 0x0002, "Network Lane 0 FEC Mode Control"},
    {0x9101, 0x0002, "Network Lane 1 FEC Mode Control"},
    {0x9110, 0x0008, "Network Lane 0 TX Turn-up State"},
    {0x9111, 0x0008, "Network Lane 1 TX Turn-up State"},
    {0x9118, 0x0008, "Network Lane 0 RX Turn-up State"},
    {0x9119, 0x0008, "Network Lane 1 RX Turn-up State"},
    {0x9120, 0x0000, "Network Lane 0 TX Control"},
    {0x9121, 0x0000, "Network Lane 1 TX Control"},
    {0x9128, 0x0000, "Network Lane 0 RX Control"},
    {0x9129, 0x0000, "Network Lane 1 RX Control"},
    {0x9130, 0x0024, "Network Lane 0 PLL Loop Bandwidth Control"},
    {0x9131, 0x0024, "Network Lane 1 PLL Loop Bandwidth Control"},
    {0x9200, 0x0080, "Client Interface 0 General Control"},
    {0x9201, 0x0080, "Client Interface 1 General Control"},
    {0x9202, 0x0080, "Client Interface 2 General Control"},
    {0x9203, 0x0080, "Client Interface 3 General Control"},
    {0xB00C, 0x0000, "Command Error Address"},
    {0xB00D, 0x0000, "Command Error Data"},
    {0xB00E, 0x0000, "Command Error Data Mask"},
    {0xB00F, 0x0000, "Command Error Status"},
    {0xB010, 0x0000, "General Control"},
    {0xB016, 0x0020, "Module State"},
    {0xB01D, 0x0000, "General Status"},
    {0xB024, 0x0000, "Fault Status, latched"},
    {0xB02F, 0x01E3, "Temperature Monitor A/D Value"},
    {0xB050, 0x0000, "Extended Function Status"},
};

#endif
