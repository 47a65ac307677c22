// The control and status registers of a whole sirane.
#include <cstddef>

#include "core/field_trace.h"
#include "kelvane_trace_defs.h"
#include "mbox/command.h"

static_assert(sizeof(kelvane_subsystem_status_t) == 148);

namespace {

#define AT(field) offsetof(kelvane_subsystem_status_t, field)

constexpr traced_field status_fields[] = {
    {" SRN_CMD_ERR_ADDR                          B00Ch 0x%08x ", AT(SRN_CMD_ERR_ADDR), FIELD_WORD},
    {" SRN_CMD_ERR_DATA                          B00Dh 0x%08x ", AT(SRN_CMD_ERR_DATA), FIELD_WORD},
    {" SRN_CMD_ERR_DATA_MASK                     B00Eh 0x%08x ", AT(SRN_CMD_ERR_DATA_MASK), FIELD_WORD},
    {" SRN_CMD_ERR_STAT                          B00Fh 0x%08x ", AT(SRN_CMD_ERR_STAT), FIELD_WORD},
    {" SRN_MOD_STATE                             B016h 0x%08x ", AT(SRN_MOD_STATE), FIELD_WORD},
    {" SRN_TEMP_MON_A2D_VAL                      B02Fh 0x%08x ", AT(SRN_TEMP_MON_A2D_VAL), FIELD_WORD},
    {" SRN_MOD_EXT_FUNC_STAT                     B050h 0x%08x ", AT(SRN_MOD_EXT_FUNC_STAT), FIELD_WORD},
    {" SRN_MOD_GEN_CNTL                          B010h 0x%08x ", AT(SRN_MOD_GEN_CNTL), FIELD_WORD},
    {" SRN_DEVICE_SETUP_CNTL                     9010h 0x%08x ", AT(SRN_DEVICE_SETUP_CNTL), FIELD_WORD},
    {" SRN_NTWK_LANES_ENABLE_CNTL                9018h 0x%08x ", AT(SRN_NTWK_LANES_ENABLE_CNTL), FIELD_WORD},
    {" SRN_HOST_LANES_CLIENT_INTF_DEF_CNTL       9020h 0x%08x ", AT(SRN_HOST_LANES_CLIENT_INTF_DEF_CNTL),
     FIELD_WORD},
    {" SRN_IND_LANES_CLIENT_TX_NTWK_LANE_MAP     9030h 0x%08x ", AT(SRN_IND_LANES_CLIENT_TX_NTWK_LANE_MAP),
     FIELD_WORD},
    {" SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP 9031h 0x%08x ",
     AT(SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP), FIELD_WORD},
    {" SRN_IND_LANES_NTWK_LANE_CLIENT_RX_MAP     9040h 0x%08x ", AT(SRN_IND_LANES_NTWK_LANE_CLIENT_RX_MAP),
     FIELD_WORD},
    {" SRN_COUPLED_LANES_NTWK_LANE_CLIENT_RX_MAP 9041h 0x%08x ",
     AT(SRN_COUPLED_LANES_NTWK_LANE_CLIENT_RX_MAP), FIELD_WORD},
    {" SRN_CLIENT_GEN_CNTL_INTF_0                9200h 0x%08x ", AT(SRN_CLIENT_GEN_CNTL_INTF_0), FIELD_WORD},
    {" SRN_CLIENT_GEN_CNTL_INTF_1                9201h 0x%08x ", AT(SRN_CLIENT_GEN_CNTL_INTF_1), FIELD_WORD},
    {" SRN_CLIENT_GEN_CNTL_INTF_2                9202h 0x%08x ", AT(SRN_CLIENT_GEN_CNTL_INTF_2), FIELD_WORD},
    {" SRN_CLIENT_GEN_CNTL_INTF_3                9203h 0x%08x ", AT(SRN_CLIENT_GEN_CNTL_INTF_3), FIELD_WORD},
    {" SRN_NTWK_FEC_MODE_CNTL_LN_0               9100h 0x%08x ", AT(SRN_NTWK_FEC_MODE_CNTL_LN_0), FIELD_WORD},
    {" SRN_NTWK_FEC_MODE_CNTL_LN_1               9101h 0x%08x ", AT(SRN_NTWK_FEC_MODE_CNTL_LN_1), FIELD_WORD},
    {" SRN_NTWK_TX_TURN_UP_STATE_LN_0            9110h 0x%08x ", AT(SRN_NTWK_TX_TURN_UP_STATE_LN_0),
     FIELD_WORD},
    {" SRN_NTWK_TX_TURN_UP_STATE_LN_1            9111h 0x%08x ", AT(SRN_NTWK_TX_TURN_UP_STATE_LN_1),
     FIELD_WORD},
    {" SRN_NTWK_RX_TURN_UP_STATE_LN_0            9118h 0x%08x ", AT(SRN_NTWK_RX_TURN_UP_STATE_LN_0),
     FIELD_WORD},
    {" SRN_NTWK_RX_TURN_UP_STATE_LN_1            9119h 0x%08x ", AT(SRN_NTWK_RX_TURN_UP_STATE_LN_1),
     FIELD_WORD},
    {" SRN_NTWK_TX_CNTL_LN_0                     9120h 0x%08x ", AT(SRN_NTWK_TX_CNTL_LN_0), FIELD_WORD},
    {" SRN_NTWK_TX_CNTL_LN_1                     9121h 0x%08x ", AT(SRN_NTWK_TX_CNTL_LN_1), FIELD_WORD},
    {" SRN_NTWK_RX_CNTL_LN_0                     9128h 0x%08x ", AT(SRN_NTWK_RX_CNTL_LN_0), FIELD_WORD},
    {" SRN_NTWK_RX_CNTL_LN_1                     9129h 0x%08x ", AT(SRN_NTWK_RX_CNTL_LN_1), FIELD_WORD},
    {" SRN_NTWK_PLL_BW_CNTL_LN_0                 9130h 0x%08x ", AT(SRN_NTWK_PLL_BW_CNTL_LN_0), FIELD_WORD},
    {" SRN_NTWK_PLL_BW_CNTL_LN_1                 9131h 0x%08x ", AT(SRN_NTWK_PLL_BW_CNTL_LN_1), FIELD_WORD},
    {" dac_vco_1                                         %08f   ", AT(dac_vco_1), FIELD_FLOAT},
    {" dac_vco_2                                         %08f   ", AT(dac_vco_2), FIELD_FLOAT},
    {" adc_vco_1                                         %08f   ", AT(adc_vco_1), FIELD_FLOAT},
    {" adc_vco_2                                         %08f   ", AT(adc_vco_2), FIELD_FLOAT},
    {" SRN_MOD_GEN_STAT                          B01Dh 0x%08x   ", AT(SRN_MOD_GEN_STAT), FIELD_WORD},
    {" SRN_MOD_FLT_STAT_LH                       B024h 0x%08x   ", AT(SRN_MOD_FLT_STAT_LH), FIELD_WORD},
};

#undef AT

} // namespace

static int32_t kelvane_subsystem_status_info(kelvane_handle handle, kelvane_device_address device_address,
                                             kelvane_subsystem_status_t record)
{
    trace_fields(LEVEL_INFO, handle, device_address, __func__, status_fields, &record);
    return KELVANE_EOK;
}

int32_t kelvane_get_subsystem_status_info(kelvane_handle handle, kelvane_device_address device_address,
                                          kelvane_subsystem_status_t *record)
{
    TRACE(LEVEL_INFO, handle, device_address, "start ");
    command c;
    const int32_t rc =
        command_run(&c, {CMD_GET_SUBSYSTEM_STATUS_INFO, CHECK_SIRANE, __func__, handle, device_address},
                    {handle, device_address});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    command_copy_record(c, record, sizeof *record);
    kelvane_subsystem_status_info(handle, device_address, *record);
    TRACE(LEVEL_INFO, handle, device_address, "end ");
    return command_result(c);
}
