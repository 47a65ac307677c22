// A card whose logs lie in memory of the BAR's size, read word by word and in blocks.
#ifndef TESTS_FIRMWARE_LOG_LOGGED_CARD_H
#define TESTS_FIRMWARE_LOG_LOGGED_CARD_H

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kelvane_handle.h"
#include "support/library.h"

inline std::vector<uint32_t> logged_words; // beyond them a read gives all ones
inline uint32_t logged_reads = 0;
inline uint32_t failing_offset = 0; // a read of this word fails; 0 none

class logged_card_test : public library_test {
  protected:
    logged_card_test()
    {
        turn_log_on();
        start_library();
        logged_words.assign(0x04000000 / 4, 0);
        failing_offset = 0;
        kelvane_init_device_t &device = local_handles_array[0].init_device;
        device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t) {
            logged_reads++;
            *value = offset / 4 < logged_words.size() ? logged_words[offset / 4] : 0xFFFFFFFF;
            return failing_offset != 0 && offset == failing_offset ? 5 : 0;
        };
        device.pci_read_block_cb = [](kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                                      uint32_t *data, uint32_t alive) {
            int32_t rc = 0;
            for (uint32_t i = 0; i < words && rc == 0; i++) {
                rc = local_handles_array[0].init_device.pci_read_cb(handle, bus, offset + 4 * i, &data[i],
                                                                    alive);
            }
            return rc;
        };
    }

    static void set(uint32_t offset, uint32_t word)
    {
        logged_words[offset / 4] = word;
    }

    static void put_text(uint32_t offset, const std::string &text)
    {
        text.copy(reinterpret_cast<char *>(logged_words.data()) + offset, text.size());
    }

    bool has_file(const std::string &name) const
    {
        return std::ifstream(folder.path + "/root/" + name).good();
    }

    std::string file_text(const std::string &name) const
    {
        std::ostringstream text;
        text << std::ifstream(folder.path + "/root/" + name).rdbuf();
        return text.str();
    }
};

#endif
