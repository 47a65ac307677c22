#include "kelvanectl/text/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "kelvanectl/text/output.h"

namespace {

struct known_code {
    int64_t code;
    const char *advice;
};

constexpr int64_t firmware_word(int32_t code)
{
    return static_cast<uint32_t>(code);
}

constexpr known_code KNOWN[] = {
    {RPC_QUEUE_FULL, "try again when others are served"},
    {RPC_NO_CARD, "plug the card in, or see what the service says: `kelvanectl call service_status`"},
    {RPC_LINKING, "try again; `kelvanectl call service_status` tells when the card is up"},
    {KELVANE_RET_CODE_EBUSY, "too many of these are under way on its sirane: try again in a second"},
    {KELVANE_RET_CODE_EINVAL,
     "there is no such device, or it takes no such value; `kelvanectl list` shows the devices"},
    {KELVANE_RET_CODE_ETIMEDOUT,
     "the firmware did not answer in time; `kelvanectl show board` tells whether it lives"},
    {KELVANE_RET_CODE_GEN_ERR, "nothing is there for that address, or a file could not be used"},
    {KELVANE_RET_CODE_HW_PROBLEM, "a mailbox of the card is upset: `kelvanectl reset card` as a last resort"},
    {KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM,
     "a lock was held too long: try again, and start the service anew if it stays"},
    {KELVANE_RET_CODE_VERSION_MISMATCH, "firmware and library do not fit: see `kelvanectl firmware show`"},
    {KELVANE_RET_CODE_DEVICE_UNAVAILABLE,
     "the card is gone, or its firmware dead: wait for its restart, or see `kelvanectl logs`"},
    {KELVANE_RET_CODE_DEVICE_NOT_READY, "the firmware is still starting: try again in a minute"},
    {firmware_word(ORDUNE_MD5_FAIL),
     "the image does not match its digest: copy both anew, or make the digest with md5sum"},
    {firmware_word(ORDUNE_FLASH_WRONGDEV), "the image is not for this kind of device"},
    {firmware_word(ORDUNE_UPGRADE_IN_PROGRESS),
     "an upgrade is under way already: wait until `kelvanectl firmware show` tells that it is done"},
    {firmware_word(ORDUNE_UPGRADE_ERROR),
     "the upgrade failed, or no image was downloaded for it: download it anew"},
    {firmware_word(ORDUNE_XPM2_ENODEV), "there is no module in that port"},
};

std::string text_of(const json &record, const char *name)
{
    const json value = record.is_object() ? record.value(name, json()) : json();
    return value.is_string() ? value.get<std::string>() : "";
}

int64_t code_of(const json &error)
{
    const json code = error.value("code", json());
    return code.is_number_integer() ? code.get<int64_t>() : RPC_INTERNAL;
}

} // namespace

exit_status status_of(const json &error)
{
    switch (code_of(error)) {
    case RPC_NO_REQUEST:
    case RPC_NO_METHOD:
    case RPC_BAD_PARAMETERS:
        return STATUS_USAGE;
    case RPC_NO_CARD:
    case RPC_NO_RIGHT:
    case RPC_LINKING:
        return STATUS_NO_CARD;
    case RPC_TIMED_OUT:
    case KELVANE_RET_CODE_ETIMEDOUT:
        return STATUS_TIMED_OUT;
    default:
        return STATUS_FAILED;
    }
}

std::string advice_of(const json &error)
{
    const json data = error.value("data", json::object());
    std::string own = text_of(data, "advice");
    if (!own.empty()) {
        return own;
    }
    if (code_of(error) == RPC_TIMED_OUT && data.is_object() && data.contains("begun")) {
        return data["begun"] == true ? "it goes on, and `kelvanectl watch` shows its outcome as an event"
                                     : "nothing was sent: try again with a longer --timeout";
    }
    const auto found = std::ranges::find(KNOWN, code_of(error), &known_code::code);
    return found != std::end(KNOWN) ? found->advice : "";
}

exit_status fail(const json &error, bool as_json)
{
    const json data = error.value("data", json::object());
    const std::string operation = text_of(data, "operation");
    const std::string address = text_of(data, "address");
    const std::string advice = advice_of(error);
    const bool is_usage = status_of(error) == STATUS_USAGE;
    if (as_json) {
        output_json(error);
    }
    output_problem(operation + (address.empty() ? "" : " at " + address) +
                   (operation.empty() && address.empty() ? "" : ": ") + text_of(error, "message") +
                   (is_usage ? "" : " (" + std::to_string(code_of(error)) + ")") +
                   (advice.empty() ? "" : ": " + advice));
    return status_of(error);
}

exit_status fail_usage(const std::string &problem, bool as_json)
{
    return fail(error_of({RPC_BAD_PARAMETERS, problem}, nullptr, nullptr), as_json);
}

exit_status fail_file(const std::string &problem, bool as_json)
{
    const std::string why = problem + ": " + strerror(errno);
    if (as_json) {
        output_json(error_of({RPC_INTERNAL, why}, nullptr, nullptr));
    }
    output_problem(why);
    return STATUS_FAILED;
}
