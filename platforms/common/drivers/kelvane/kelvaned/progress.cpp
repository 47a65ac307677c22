#include "kelvaned/progress.h"

#include <algorithm>

#include <sys/stat.h>

#include "control/address.h"
#include "control/card_owner.h"

namespace {

constexpr auto INTERVAL = std::chrono::seconds(1);

}

void progress::begin(const request &request, int image)
{
    struct stat status = {};
    operation_ = request.what;
    address_ = request.has_address ? json(words_of_address(request.call.address)) : json(nullptr);
    device_ = request.call.address;
    kind_ = request.call.in[0].word;
    bytes_total_ = image >= 0 && fstat(image, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
    words_before_ = card_words_written();
    begun_ = std::chrono::steady_clock::now();
    tell_later();
}

void progress::end()
{
    operation_ = nullptr;
    timer_.cancel();
}

void progress::tell_later()
{
    timer_.expires_after(INTERVAL);
    timer_.async_wait([this](const std::error_code &error) {
        if (!error && operation_ != nullptr) {
            events_.tell("progress", address_, told());
            tell_later();
        }
    });
}

json progress::told() const
{
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begun_);
    json all = {{"operation", operation_->name}, {"seconds", seconds.count()}};
    uint32_t percent = 0;
    int32_t rc = KELVANE_RET_CODE_EINVAL;
    if (bytes_total_ > 0) {
        all["bytes"] = std::min(bytes_total_, 4 * (card_words_written() - words_before_));
        all["bytes_total"] = bytes_total_;
        rc = kelvane_get_download_progress(THE_CARD, kind_, &percent);
    } else if (operation_->does == effect::restarts && !address_.is_null()) {
        rc = kelvane_get_program_progress(THE_CARD, device_, &percent);
    }
    if (rc == KELVANE_EOK) {
        all["percent"] = percent;
    }
    return all;
}
