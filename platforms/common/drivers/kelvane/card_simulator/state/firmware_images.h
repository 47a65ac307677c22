// The firmware images that the card holds, and which of them its devices run.
#ifndef CARD_SIMULATOR_STATE_FIRMWARE_IMAGES_H
#define CARD_SIMULATOR_STATE_FIRMWARE_IMAGES_H

#include <compare>
#include <cstdint>
#include <optional>

#include "card_simulator/state/devices.h"

constexpr uint32_t IMAGE_BYTES_MAX = 33553403;
constexpr uint32_t BANK_COUNT = 2;

constexpr uint32_t VERSION_PART_MAX = 0xFFFF;

struct firmware_version {
    uint32_t major;
    uint32_t minor;

    auto operator<=>(const firmware_version &) const = default;
};

// As it appears in tables and logs, except for a sirane's banks.
constexpr uint32_t bundle_version(firmware_version version)
{
    return version.major << 16 | (version.minor & VERSION_PART_MAX);
}

// The kinds as a download names them.
enum image_kind : uint32_t {
    IMAGE_OF_GOLDEN_HESPERA = 0,
    IMAGE_OF_HESPERA = 1,
    IMAGE_OF_SIRANE = 2,
    IMAGE_OF_MODULE = 4,
};

struct firmware_image {
    image_kind kind = IMAGE_OF_GOLDEN_HESPERA;
    firmware_version version = {};
    uint32_t bytes = 0;
    char digest[33] = {}; // MD5, lower case
};

// A sirane's memory for its own firmware.
struct sirane_banks {
    firmware_version version[BANK_COUNT] = {{2, 6}, {2, 7}};
    bool valid[BANK_COUNT] = {true, true};
    uint32_t running = 1;
};

// Bit 7 of a progress byte.
enum image_operation : uint32_t { IMAGE_DOWNLOAD = 0, IMAGE_PROGRAM = 1 };

// Work on an image.
struct image_work {
    bool under_way = false;
    image_operation operation = IMAGE_DOWNLOAD;
    uint32_t device = 0; // shows the progress; a program operation programs it
    firmware_image image = {};
    int32_t verdict = 0; // 0 or an enum kelvane_arm_error
    uint64_t begun_ns = 0;
    uint64_t done_ns = 0;
};

struct firmware_images {
    firmware_version working = {};
    firmware_version golden = {2, 4};
    sirane_banks siranes[SIRANE_COUNT];
    std::optional<firmware_version> modules[DEVICE_COUNT]; // programmed since delivery
    std::optional<firmware_image> downloaded;              // and not activated yet
    image_work work;
    uint32_t progress[SIRANE_COUNT] = {}; // the words in the tables
    bool progress_changed = false;        // since they were published

    // By the operator.
    std::optional<firmware_version> next_version; // of the next image
    uint32_t program_time_ms = 800;
};

// Whether an image of this kind was downloaded and not activated yet, and whether one is checked just now.
bool image_is_held(const firmware_images &images, image_kind kind);
bool image_is_being_checked(const firmware_images &images, image_kind kind);

firmware_version module_software(const firmware_images &images, uint32_t device);

#endif
