#include "mock_client/client_status.h"

#include <iterator>

#include "mock_client/client.h"
#include "mock_client/console.h"

namespace {

using status_record = kelvane_subsystem_status_t;

enum class digits { upper_case, lower_case };

struct word_line {
    const char *label;
    uint32_t status_record::*word;
    digits shown = digits::upper_case;
};

struct float_line {
    const char *label;
    float status_record::*value;
};

// In the order of the record. The register numbers are the operator's; some repeat that of another
// register.
constexpr word_line WORD_LINES[] = {
    {"Command Error Address (B00Ch):   ", &status_record::SRN_CMD_ERR_ADDR},
    {"Command Error Data (B00Dh):      ", &status_record::SRN_CMD_ERR_DATA},
    {"Command Error Data Mask (B00Eh): ", &status_record::SRN_CMD_ERR_DATA_MASK, digits::lower_case},
    {"Command Error Stat (B00Fh):      ", &status_record::SRN_CMD_ERR_STAT},
    {"Module State (B016h):            ", &status_record::SRN_MOD_STATE},
    {"Temparature Monitor A/D Value(B02Fh): ", &status_record::SRN_TEMP_MON_A2D_VAL},
    {"Extended Function Status(B050h):      ", &status_record::SRN_MOD_EXT_FUNC_STAT},
    {"General Control (B010h):         ", &status_record::SRN_MOD_GEN_CNTL},
    {"Device Setup Control (9010h):   ", &status_record::SRN_DEVICE_SETUP_CNTL},
    {"Network Lanes Master Enable Control(9018h): ", &status_record::SRN_NTWK_LANES_ENABLE_CNTL},
    {"Host Lanes Client Interface Definition Control(9020h): ",
     &status_record::SRN_HOST_LANES_CLIENT_INTF_DEF_CNTL},
    {"Independent Lanes Client TX Interface x to Network Lane n Mapping(9030h):\n"
     "                                            ",
     &status_record::SRN_IND_LANES_CLIENT_TX_NTWK_LANE_MAP},
    {"Coupled Lanes Client TX Interface x to Network Lane n Mapping(9031h):\n"
     "                                            ",
     &status_record::SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP},
    {"Independent Lanes Network Lane n to Client RX Interface x Mapping(9040h):\n"
     "                                            ",
     &status_record::SRN_IND_LANES_NTWK_LANE_CLIENT_RX_MAP},
    {"Coupled Lanes Network Lane n to Client RX Interface x Mapping(9041h):\n"
     "                                            ",
     &status_record::SRN_COUPLED_LANES_NTWK_LANE_CLIENT_RX_MAP},
    {"Client Interface 0 General Control (9200h): ", &status_record::SRN_CLIENT_GEN_CNTL_INTF_0},
    {"Client Interface 1 General Control (9201h): ", &status_record::SRN_CLIENT_GEN_CNTL_INTF_1},
    {"Client Interface 2 General Control (9202h): ", &status_record::SRN_CLIENT_GEN_CNTL_INTF_2},
    {"Client Interface 3 General Control (9203h): ", &status_record::SRN_CLIENT_GEN_CNTL_INTF_3},
    {"Network Lane 0 FEC Mode Control (9100h)   : ", &status_record::SRN_NTWK_FEC_MODE_CNTL_LN_0},
    {"Network Lane 1 FEC Mode Control (9101h)   : ", &status_record::SRN_NTWK_FEC_MODE_CNTL_LN_1},
    {"Network Lane 0 TX Turn-up State (9100h)   : ", &status_record::SRN_NTWK_TX_TURN_UP_STATE_LN_0},
    {"Network Lane 1 TX Turn-up State (9101h)   : ", &status_record::SRN_NTWK_TX_TURN_UP_STATE_LN_1},
    {"Network Lane 0 RX Turn-up State (9111h)   : ", &status_record::SRN_NTWK_RX_TURN_UP_STATE_LN_0},
    {"Network Lane 1 RX Turn-up State (9111h)   : ", &status_record::SRN_NTWK_RX_TURN_UP_STATE_LN_1},
    {"Network Lane 0 TX Control (9120h)         : ", &status_record::SRN_NTWK_TX_CNTL_LN_0},
    {"Network Lane 1 TX Control (9121h)         : ", &status_record::SRN_NTWK_TX_CNTL_LN_1},
    {"Network Lane 0 RX Control (9128h)         : ", &status_record::SRN_NTWK_RX_CNTL_LN_0},
    {"Network Lane 1 RX Control (9129h)         : ", &status_record::SRN_NTWK_RX_CNTL_LN_1},
    {"Network Lane 0 PLL Loop Bandwidth Control(9130h): ", &status_record::SRN_NTWK_PLL_BW_CNTL_LN_0},
    {"Network Lane 1 PLL Loop Bandwidth Control(9131h): ", &status_record::SRN_NTWK_PLL_BW_CNTL_LN_1},
};

constexpr float_line FLOAT_LINES[] = {
    {"DAC VCO 1                                 : ", &status_record::dac_vco_1},
    {"DAC VCO 2                                 : ", &status_record::dac_vco_2},
    {"ADC VCO 1                                 : ", &status_record::adc_vco_1},
    {"ADC VCO 2                                 : ", &status_record::adc_vco_2},
};

static_assert(std::size(WORD_LINES) == 31 && std::size(FLOAT_LINES) == 4);

} // namespace

int32_t client_dump_status_info()
{
    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        kelvane_subsystem_status_t status = {};
        if (kelvane_get_subsystem_status_info(client_handle(), KELVANE_ADDRESS_SIRANE(sirane), &status) !=
            0) {
            console_error("Failed to fetch sub system info for Sirane %u", sirane);
            continue;
        }
        console_line("Subsystem Info for Sirane %u", sirane);
        console_line("---------------------------");
        client_print_subsystem_status(status);
    }
    return 0;
}

void client_print_subsystem_status(kelvane_subsystem_status_t status)
{
    for (const word_line &line : WORD_LINES) {
        const uint32_t word = status.*line.word;
        if (line.shown == digits::upper_case) {
            console_line("%s%X", line.label, word);
        } else {
            console_line("%s%x", line.label, word);
        }
    }
    for (const float_line &line : FLOAT_LINES) {
        console_line("%s%f", line.label, static_cast<double>(status.*line.value));
    }
}
