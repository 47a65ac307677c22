// What is provisioned on a sirane, and the repair of what older firmware sends.
#ifndef PROVISIONING_PROVISIONED_CONFIG_H
#define PROVISIONING_PROVISIONED_CONFIG_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"

// Computes the flex-grid channels from the legacy ones where the firmware sends none, and then makes the
// header's version 0. Returns KELVANE_EOK, or the failure of the version inquiry with the record unchanged.
int32_t kelvane_post_proc_global_provisioned_config(kelvane_handle handle,
                                                    kelvane_provisioned_config_t *record,
                                                    mbox_data_header *response_header);

// Logs the record. Returns KELVANE_EOK.
int32_t kelvane_tr_glbl_prv_cfg_config(kelvane_handle handle, kelvane_device_address device_address,
                                       kelvane_provisioned_config_t record);

#endif
