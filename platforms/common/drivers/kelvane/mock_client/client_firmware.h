// Firmware images: from a file to the card, and into its devices.
#ifndef MOCK_CLIENT_CLIENT_FIRMWARE_H
#define MOCK_CLIENT_CLIENT_FIRMWARE_H

#include <cstdint>
#include <string>

// "<device> <path>". Returns 0, ENODEV for arguments that are missing or name no device, -1 for a file that
// is not there, or the code of the download.
int32_t client_upgrade(const char *text);

// "<device> <path>", device 0 standing for the three siranes. Returns 0 for a number that is none of theirs,
// ENODEV for missing arguments, EINVAL while no sirane image was downloaded in this run, -1 for a file that
// is not there, otherwise the code with which the activation ended.
int32_t client_activate(const char *text);

// The path ends at its first white space. `target` is one of enum kelvane_download_device.
int32_t client_download_image(const std::string &path, uint32_t target);

// Activates until three attempts have failed, however many have succeeded; returns the code of the third.
int32_t client_activate_image(const std::string &path, int32_t device);

#endif
