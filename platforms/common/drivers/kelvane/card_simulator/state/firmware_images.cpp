#include "card_simulator/state/firmware_images.h"

namespace {

constexpr firmware_version DELIVERED_MODULE_SOFTWARE = {1, 18};

} // namespace

bool image_is_held(const firmware_images &images, image_kind kind)
{
    return images.downloaded.has_value() && images.downloaded->kind == kind;
}

bool image_is_being_checked(const firmware_images &images, image_kind kind)
{
    return images.work.under_way && images.work.operation == IMAGE_DOWNLOAD && images.work.image.kind == kind;
}

firmware_version module_software(const firmware_images &images, uint32_t device)
{
    return images.modules[device].value_or(DELIVERED_MODULE_SOFTWARE);
}
