// What the operator is shown of the firmware images.
#ifndef CARD_SIMULATOR_CONSOLE_IMAGES_SHOW_H
#define CARD_SIMULATOR_CONSOLE_IMAGES_SHOW_H

#include <string>

#include "card_simulator/state/firmware_images.h"

void append_images(std::string &text, const firmware_images &images);

#endif
