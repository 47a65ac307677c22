// Repairs to a module's inventory.
#ifndef DEVICE_MODULE_INVENTORY_H
#define DEVICE_MODULE_INVENTORY_H

#include "kelvane.h"
#include "kelvane_mbox.h"

// From firmware 2.7 on, and with firmware that gives no version, only the first four bytes of `vid` count.
void kelvane_manage_vid_inc(kelvane_handle handle, kelvane_xpm2_inventory_t *record);

// What older firmware does not send reads as -1 or as an empty text.
void kelvane_post_proc_get_xpm2_inventory_inf(kelvane_handle handle, kelvane_xpm2_inventory_t *record,
                                              const mbox_data_header &response_header);

#endif
