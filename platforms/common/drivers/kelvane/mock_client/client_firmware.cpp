#include "mock_client/client_firmware.h"

#include <cerrno>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "kelvane.h"
#include "mock_client/client.h"
#include "mock_client/console.h"
#include "mock_client/device_number.h"
#include "mock_client/device_table.h"
#include "mock_client/tokens.h"

namespace {

constexpr int32_t ALL_SIRANES = 0;
constexpr int32_t SIRANE_NUMBERS[] = {1, 4, 7};
constexpr int32_t FAILED_ATTEMPTS = 3;

struct upgrade_row {
    const char *message; // the path follows; null: devices of this kind are not upgraded yet
    uint32_t target;
};

constexpr upgrade_row HESPERA = {"Upgrading Hespera firmware with:", KELVANE_DOWNLOAD_HESPERA};
constexpr upgrade_row SIRANE = {"Downloading Sirane firmware with ", KELVANE_DOWNLOAD_SIRANE};
constexpr upgrade_row GOLDEN = {"Upgrading Golden Hespera firmware with:", KELVANE_DOWNLOAD_HESPERA_GOLDEN};
constexpr upgrade_row MODULE = {nullptr, 0};

constexpr upgrade_row UPGRADES[] = {
    HESPERA, SIRANE, MODULE, MODULE, SIRANE, MODULE, MODULE, SIRANE, MODULE, MODULE, GOLDEN,
};

bool path_token(const char *&text, std::string &path)
{
    if (!next_token(text, path)) {
        console_error("FPGA file path not found or invalid");
        return false;
    }
    return true;
}

// A tab belongs to a token; a path ends there.
std::string first_word(const std::string &text)
{
    constexpr const char *WHITE_SPACE = " \t\n\v\f\r";
    const size_t start = text.find_first_not_of(WHITE_SPACE);
    if (start == std::string::npos) {
        return text;
    }
    return text.substr(start, text.find_first_of(WHITE_SPACE, start) - start);
}

bool is_accessible(const std::string &path)
{
    if (access(path.c_str(), F_OK) != 0) {
        console_error(" File %s not found ", path.c_str());
        return false;
    }
    return true;
}

// The image itself is looked at; the library looks at the digest's file, which the messages mention.
bool is_filled(const char *path)
{
    struct stat file = {};
    if (stat(path, &file) != 0) {
        console_error("Ensure %s.md5 is created using 'md5sum %s > %s.md5'", path, path, path);
        return false;
    }
    if (file.st_size == 0) {
        console_error("Ensure a valid %s.md5 file exists. created using 'md5sum %s > %s.md5'", path, path,
                      path);
        return false;
    }
    return true;
}

} // namespace

int32_t client_upgrade(const char *text)
{
    int32_t device = 0;
    std::string path;
    if (!next_device_number(text, device) || !path_token(text, path)) {
        return ENODEV;
    }
    if (device < 0 || device >= std::ssize(UPGRADES)) {
        console_error("Invalid device [%x]", static_cast<uint32_t>(device));
        return ENODEV;
    }
    const upgrade_row &row = UPGRADES[device];
    if (row.message == nullptr) {
        console_error("Stubbed , not yet implemented ");
        return 0;
    }
    console_line("%s%s", row.message, path.c_str());
    const int32_t result = client_download_image(path, row.target);
    if (row.target == KELVANE_DOWNLOAD_SIRANE) {
        sirane_downloaded = 1; // also after a download that failed
    }
    return result;
}

int32_t client_download_image(const std::string &text, uint32_t target)
{
    const std::string path = first_word(text);
    if (!is_accessible(path) || !is_filled(path.c_str())) {
        return -1;
    }
    console_line("It will take a while, please wait....");
    const int32_t result = kelvane_download_software(client_handle(), target, path.c_str());
    if (result != 0) {
        console_error("Download Error return code:(%d)", result);
        return result;
    }
    console_line("Download completed ");
    console_line("Reload the LC if Activate is not proceeded ");
    return 0;
}

int32_t client_activate(const char *text)
{
    int32_t device = 0;
    std::string path;
    if (!next_device_number(text, device)) {
        return ENODEV;
    }
    if (sirane_downloaded == 0) {
        console_error("Sirane firmware not downloaded");
        return EINVAL;
    }
    if (!path_token(text, path)) {
        return ENODEV;
    }
    if (device == ALL_SIRANES) {
        console_line("Activate called for all Siranes, please dont interrupt here");
        int32_t result = 0;
        for (const int32_t sirane : SIRANE_NUMBERS) {
            const int32_t one = client_activate_image(path, sirane);
            result = one != 0 ? one : result;
        }
        return result;
    }
    for (const int32_t sirane : SIRANE_NUMBERS) {
        if (device == sirane) {
            return client_activate_image(path, sirane);
        }
    }
    console_error_text(">>> ERROR <<<Invalid dev_address");
    return 0;
}

int32_t client_activate_image(const std::string &text, int32_t device)
{
    const std::string path = first_word(text);
    if (!is_accessible(path)) {
        return -1;
    }
    int32_t failures = 0;
    int32_t last_failure = 0;
    while (failures < FAILED_ATTEMPTS) { // a success is no reason to stop
        const int32_t result = kelvane_program_activate_software(client_handle(), address_of_device(device),
                                                                 path.c_str(), nullptr, 0);
        if (result != 0) {
            console_error("Activate failed for device %d return code:(%d) retry_count = %d", device, result,
                          failures);
            last_failure = result;
            failures++;
        } else {
            console_line("Activation completed on device %d", device);
        }
    }
    return last_failure;
}
