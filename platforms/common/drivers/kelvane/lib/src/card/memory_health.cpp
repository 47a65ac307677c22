#include "card/memory_health.h"

#include "core/handle.h"
#include "core/pci.h"
#include "core/trace/trace.h"

int32_t kelvane_get_ddr_info_table(kelvane_handle handle, ddr_info_table *table)
{
    TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD, " start sizebytes %d  size_32t %d ",
          static_cast<int>(sizeof table->word), static_cast<int>(DDR_INFO_WORDS));
    return kelvane_internal_pci_read_block(handle, 0, DDR_INFO_TABLE, DDR_INFO_WORDS, table->word,
                                           SKIP_ALIVE);
}

int32_t kelvane_get_ddr_ecc_counters(kelvane_handle handle, kelvane_ddr_ecc_counters_t *counters)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start ");
    int32_t rc = check_kelvane_handler_input(handle);
    ddr_info_table table{};
    if (rc == KELVANE_EOK) {
        rc = kelvane_get_ddr_info_table(handle, &table);
    }
    if (rc == KELVANE_EOK) {
        *counters = {table.word[DDR_UNCORRECTABLE_FLAG], table.word[DDR_CORRECTABLE_COUNTER],
                     table.word[DDR_UNCORRECTABLE_COUNTER], table.word[DDR_UPSET_COUNTER]};
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "ddr_ecc_UnCorrectableFlag    0x%x",
              counters->ddr_ecc_uncorrectable_flag);
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "ddr_ecc_CorrectableCounter   0x%x",
              counters->ddr_ecc_correctable_counter);
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "ddr_ecc_UnCorrectableCounter 0x%x",
              counters->ddr_ecc_uncorrectable_counter);
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "pl_seu_corr_counter          0x%x",
              counters->pl_seu_corr_counter);
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "   end, rc 0x%x", static_cast<unsigned>(rc));
    return rc;
}

int32_t kelvane_get_seu_pl_uncorrectable(kelvane_handle handle, uint32_t *state)
{
    TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD, "start ");
    int32_t rc = check_kelvane_handler_input(handle);
    ddr_info_table table{};
    if (rc == KELVANE_EOK) {
        rc = kelvane_get_ddr_info_table(handle, &table);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    switch (table.word[DDR_UPSET_STATE]) {
    case DDR_NO_UPSET:
        *state = KELVANE_SEU_PL_OK;
        TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD, " kelvane_seu_pl_uncorrectable KELVANE_SEU_PL_OK");
        break;
    case DDR_UPSET_UNCORRECTABLE:
        *state = KELVANE_SEU_PL_UNC;
        TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD, " kelvane_seu_pl_uncorrectable KELVANE_SEU_PL_UNC");
        break;
    default:
        *state = KELVANE_SEU_PL_UNDEF;
        TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD,
              " kelvane_seu_pl_uncorrectable KELVANE_SEU_PL_UNDEF");
        break;
    }
    TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD, "end ");
    return KELVANE_EOK;
}
