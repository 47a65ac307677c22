// Lines out of a stream of bytes that come as they please.
#ifndef KELVANED_LINE_READER_H
#define KELVANED_LINE_READER_H

#include <cstddef>
#include <string>
#include <string_view>

constexpr size_t LINE_BYTES_MAX = 64 * 1024;

class line_reader {
  public:
    // Calls `take(line, is_too_long)` for each line that ends within `bytes`, without its end; of one that is
    // too long nothing is kept. Lines of blanks are passed over.
    template <typename taker> void feed(std::string_view bytes, const taker &take)
    {
        while (!bytes.empty()) {
            const size_t end = bytes.find('\n');
            add(bytes.substr(0, end));
            if (end == bytes.npos) {
                return;
            }
            bytes.remove_prefix(end + 1);
            const std::string line = std::move(partial_);
            const bool was_too_long = is_too_long_;
            partial_.clear();
            is_too_long_ = false;
            if (was_too_long || line.find_first_not_of(" \t\r") != line.npos) {
                take(line, was_too_long);
            }
        }
    }

  private:
    void add(std::string_view bytes)
    {
        is_too_long_ = is_too_long_ || partial_.size() + bytes.size() > LINE_BYTES_MAX;
        if (is_too_long_) {
            partial_.clear();
        } else {
            partial_ += bytes;
        }
    }

    std::string partial_;
    bool is_too_long_ = false;
};

#endif
