#include "core/device_address.h"

#include "core/handle.h"
#include "core/trace/trace.h"

namespace {

bool none(uint32_t field)
{
    return field == ADDRESS_FIELD_NONE;
}

bool is_sirane(const address_fields &a)
{
    return a.type == ADDRESS_TYPE_SIRANE && !none(a.sirane);
}

bool is_accepted(const address_fields &a)
{
    if (!none(a.network_port) && !none(a.host_port)) {
        return false;
    }
    if (a.type == ADDRESS_TYPE_SIRANE) {
        return a.sirane < SIRANE_COUNT;
    }
    return none(a.sirane) && none(a.network_port) && none(a.host_port);
}

int32_t narrow_check(bool accepted, kelvane_device_address address, const char *function)
{
    if (!accepted) {
        TRACE_AS(function, LEVEL_ERROR, NO_HANDLE, address, "invalid kelvane_device_address ");
        return KELVANE_RET_CODE_EINVAL;
    }
    return KELVANE_EOK;
}

} // namespace

int32_t check_device_address_input(kelvane_device_address address)
{
    if (!is_accepted(fields_of(address))) {
        TRACE(LEVEL_ERROR, NO_HANDLE, address, "invalid kelvane_device_address %08x", address);
        return KELVANE_RET_CODE_EINVAL;
    }
    return KELVANE_EOK;
}

int32_t kelvane_check_dev_addr_ordune(kelvane_device_address address)
{
    const address_fields a = fields_of(address);
    return narrow_check(a.type != ADDRESS_TYPE_SIRANE && none(a.sirane) && none(a.network_port) &&
                            none(a.host_port),
                        address, __func__);
}

int32_t kelvane_check_dev_addr_srn(kelvane_device_address address)
{
    const address_fields a = fields_of(address);
    return narrow_check(is_sirane(a) && none(a.network_port) && none(a.host_port), address, __func__);
}

int32_t kelvane_check_dev_addr_srn_network_port(kelvane_device_address address)
{
    const address_fields a = fields_of(address);
    return narrow_check(is_sirane(a) && !none(a.network_port) && none(a.host_port), address, __func__);
}

int32_t kelvane_check_dev_addr_srn_host_port(kelvane_device_address address)
{
    const address_fields a = fields_of(address);
    return narrow_check(is_sirane(a) && none(a.network_port) && !none(a.host_port), address, __func__);
}

int32_t check_address_and_handle(kelvane_device_address address, kelvane_handle handle)
{
    const int32_t rc = check_device_address_input(address);
    return rc != KELVANE_EOK ? rc : check_kelvane_handler_input(handle);
}
