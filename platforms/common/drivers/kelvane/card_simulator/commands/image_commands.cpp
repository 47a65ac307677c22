// Download of a firmware image, and its activation on a device.
#include <array>
#include <cctype>
#include <cstring>

#include <md5.h>

#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/state/image_work.h"
#include "kelvane_bar.h"

namespace {

constexpr size_t KIND_WORD = 1;
constexpr size_t BYTES_WORD = 2;
constexpr uint32_t IMAGE = DOWNLOAD_RAM + DOWNLOAD_IMAGE_OFFSET;
constexpr size_t DIGEST_LETTERS = DOWNLOAD_DIGEST_WORDS * sizeof(uint32_t);
constexpr uint64_t VALIDATION_MS = 100;
constexpr uint32_t BYTES_VALIDATED_PER_MS = 0x10000;

static_assert(IMAGE + IMAGE_BYTES_MAX <= BAR_BYTES);
static_assert(sizeof firmware_image::digest == DIGEST_LETTERS + 1);

// Copied piece by piece: another process may write the memory meanwhile.
void digest_of_image(const bar &bar, uint32_t bytes, char (&digest)[DIGEST_LETTERS + 1])
{
    MD5_CTX context;
    MD5Init(&context);
    std::array<uint32_t, 1024> words;
    for (uint32_t done = 0; done < bytes;) {
        const auto piece = static_cast<uint32_t>(std::min<size_t>(sizeof words, bytes - done));
        for (uint32_t i = 0; 4 * i < piece; i++) {
            words[i] = bar_read(bar, IMAGE + done + 4 * i);
        }
        MD5Update(&context, reinterpret_cast<const uint8_t *>(words.data()), piece);
        done += piece;
    }
    MD5End(&context, digest);
}

bool digest_is_told(const bar &bar, const char *digest)
{
    for (uint32_t i = 0; i < DIGEST_LETTERS; i++) {
        const uint32_t word = bar_read(bar, DOWNLOAD_RAM + i / 4 * 4);
        const auto letter = static_cast<unsigned char>(word >> i % 4 * 8);
        if (std::tolower(letter) != digest[i]) {
            return false;
        }
    }
    return true;
}

// The device that shows the progress while the image is for none in particular.
uint32_t device_of_kind(uint32_t kind)
{
    switch (kind) {
    case IMAGE_OF_GOLDEN_HESPERA:
    case IMAGE_OF_HESPERA:
        return BOARD_DEVICE;
    case IMAGE_OF_SIRANE:
        return sirane_device(0);
    case IMAGE_OF_MODULE:
        return module_device(0, 0);
    default:
        return DEVICE_NONE;
    }
}

int32_t begin(command_exchange &exchange, const image_work &work, uint64_t duration_ms)
{
    exchange.work_ms = duration_ms;
    image_work_begin(exchange.state, work, duration_ms);
    return exchange.state.images.work.verdict;
}

int32_t download(command_exchange &exchange)
{
    firmware_images &images = exchange.state.images;
    const uint32_t kind = exchange.words[KIND_WORD];
    const uint32_t bytes = exchange.words[BYTES_WORD];
    const uint32_t device = device_of_kind(kind);
    if (images.work.under_way) {
        return ORDUNE_UPGRADE_IN_PROGRESS;
    }
    if (device == DEVICE_NONE) {
        return ORDUNE_FLASH_WRONGDEV;
    }
    if (bytes == 0 || bytes > IMAGE_BYTES_MAX) {
        return ORDUNE_UPGRADE_ERROR;
    }
    note_event(exchange.state, event_kind::download_begun, device, {kind, bytes});
    image_work work{.operation = IMAGE_DOWNLOAD, .device = device};
    const auto known_kind = static_cast<image_kind>(kind);
    work.image = {known_kind, next_image_version(exchange.state, known_kind), bytes, {}};
    digest_of_image(exchange.bar, bytes, work.image.digest);
    if (digest_is_told(exchange.bar, work.image.digest)) {
        images.next_version.reset();
    } else {
        work.verdict = ORDUNE_MD5_FAIL;
    }
    return begin(exchange, work, VALIDATION_MS + bytes / BYTES_VALIDATED_PER_MS);
}

// Both of the board, of siranes or of modules.
bool fits(uint32_t kind, uint32_t device)
{
    const uint32_t of_kind = device_of_kind(kind);
    return is_sirane_device(of_kind) == is_sirane_device(device) &&
           is_module_device(of_kind) == is_module_device(device);
}

int32_t program_and_activate(command_exchange &exchange)
{
    const firmware_images &images = exchange.state.images;
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_device(exchange, &device);
    if (result != 0) {
        return result;
    }
    if ((exchange.words[DEVICE_ADDRESS_WORD] & 0xFF) != 0xFF) {
        return ORDUNE_FLASH_WRONGDEV; // a host port has no firmware
    }
    if (images.work.under_way) {
        return ORDUNE_UPGRADE_IN_PROGRESS;
    }
    if (!images.downloaded.has_value()) {
        return ORDUNE_UPGRADE_ERROR;
    }
    if (!fits(images.downloaded->kind, device)) {
        return ORDUNE_FLASH_WRONGDEV;
    }
    note_event(exchange.state, event_kind::program_begun, device, {images.downloaded->kind});
    image_work work{.operation = IMAGE_PROGRAM, .device = device};
    work.image = *images.downloaded;
    return begin(exchange, work, images.program_time_ms);
}

constexpr bool USES_DOWNLOAD_MEMORY = true;

constexpr command_row ROWS[] = {
    {CMD_DOWNLOAD_SOFTWARE, 3, 0, download, command_answer::at_once, USES_DOWNLOAD_MEMORY},
    {CMD_PROGRAM_ACTIVATE_SOFTWARE, 3, 0, program_and_activate, command_answer::at_once,
     USES_DOWNLOAD_MEMORY},
};

} // namespace

constinit const command_family image_commands = ROWS;
