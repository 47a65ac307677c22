#include "kelvanectl/recording/story.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "control/dispatch.h"
#include "kelvane_bar.h"
#include "kelvanectl/recording/recording_file.h"

namespace {

// An interrupt and its message are this close, or do not belong together.
constexpr uint64_t TOGETHER_NS = 200000000;

enum class part { host_state, card_state, area };

struct place {
    uint32_t sirane;
    uint32_t mbox;
    part what;
    uint32_t index; // of the area's word
};

constexpr uint32_t AREA_BYTES = 4 * (MBOX_HEADER_WORDS + MBOX_DATA_WORDS);

// MBOX_NONE beside the mailboxes.
place place_of(uint32_t offset)
{
    for (uint32_t sirane = 0; sirane < SIRANE_COUNT; sirane++) {
        for (uint32_t mbox = 0; mbox < MBOX_COUNT; mbox++) {
            const mbox_registers it = mbox_registers_of(sirane, mbox);
            if (offset == it.resp_reg_to_write) {
                return {sirane, mbox, part::host_state, 0};
            }
            if (offset == it.waiting_reg) {
                return {sirane, mbox, part::card_state, 0};
            }
            if (it.mailbox_addr != 0 && offset >= it.mailbox_addr && offset - it.mailbox_addr < AREA_BYTES) {
                return {sirane, mbox, part::area, (offset - it.mailbox_addr) / 4};
            }
        }
    }
    return {0, MBOX_NONE, part::area, 0};
}

// The firmware answers them with batches and alarms alone.
bool is_unanswered(uint32_t command)
{
    return command == CMD_ENABLE_PM_NOTIFY || command == CMD_ENABLE_ALARMS_NOTIFY ||
           command == CMD_FORCE_GLOBAL_ALARMS_NOTIFY;
}

enum header_word : uint32_t { HEADER_CMD, HEADER_REF_ID, HEADER_SIZE, HEADER_VERSION, HEADER_SY, HEADER_RC };

// The data words, of those that were seen.
std::vector<uint32_t> data_of(const std::vector<uint32_t> &area, uint32_t words_seen)
{
    const uint32_t end =
        std::min(words_seen, MBOX_HEADER_WORDS + std::min(area[HEADER_SIZE], MBOX_DATA_WORDS));
    return {area.begin() + MBOX_HEADER_WORDS, area.begin() + std::max(end, MBOX_HEADER_WORDS)};
}

void set_address(happening &it, const std::vector<uint32_t> &data)
{
    if (data.size() > 1 && data[1] >> 28 == 0xF) { // after the handle
        it.address = data[1];
    }
}

} // namespace

void story::note_state(mailbox &box, uint64_t time, uint32_t mbox, bool by_host, uint32_t state) const
{
    if (by_host || state != box.card_state) {
        box.states.push_back({time, mbox, by_host, state});
    }
    if (!by_host) {
        box.card_state = state;
    }
}

void story::touch(mailbox &box, uint64_t time, uint32_t index, uint32_t value) const
{
    if (box.area_words == 0) {
        box.begun = time;
    }
    box.area[index] = value;
    box.area_words = std::max(box.area_words, index + 1);
}

void story::hear(const recording_entry &entry)
{
    const uint64_t time = time_of(entry);
    switch (entry.kind) {
    case RECORDING_READ:
    case RECORDING_WRITE:
        expire(time);
        hear_access(entry, time, entry.kind == RECORDING_WRITE);
        break;
    case RECORDING_INTERRUPT:
        told_.push_back({.kind = happening_kind::interrupt,
                         .time = time,
                         .thread = entry.thread,
                         .text = (entry.flags & RECORDING_FAILED) != 0
                                     ? strerror(static_cast<int>(entry.value))
                                     : "number " + std::to_string(entry.value),
                         .problem = (entry.flags & RECORDING_FAILED) != 0 ? "none can come any more" : ""});
        break;
    case RECORDING_RUN:
        runs_.try_emplace(entry.thread, image_run{time, entry.offset, 0}).first->second.words = entry.value;
        break;
    case RECORDING_DIGEST: {
        const auto run = runs_.find(entry.thread);
        if (run != runs_.end()) {
            char digest[33];
            const auto *byte = reinterpret_cast<const unsigned char *>(&entry);
            for (size_t i = 0; i < 16; i++) {
                snprintf(digest + 2 * i, 3, "%02x", byte[i]);
            }
            told_.push_back({.kind = happening_kind::image,
                             .time = run->second.begun,
                             .thread = entry.thread,
                             .text = std::to_string(run->second.words) + " words, MD5 " + digest,
                             .problem = ""});
            runs_.erase(run);
        }
        break;
    }
    case RECORDING_THREAD: {
        char name[16];
        memcpy(name, &entry, sizeof name);
        threads_[entry.thread] = std::string(name, strnlen(name, sizeof name));
        break;
    }
    case RECORDING_END:
        has_ended_ = true;
        break;
    default: // of a later version
        break;
    }
}

void story::hear_failure(uint64_t time, bool failed)
{
    if (std::exchange(is_gone_, failed) != failed) {
        told_.push_back({.kind = happening_kind::card,
                         .time = time,
                         .text = failed ? "" : "it answers again",
                         .problem = failed ? "nothing answers" : ""});
    }
}

void story::hear_access(const recording_entry &entry, uint64_t time, bool is_write)
{
    const bool is_beyond = entry.offset % 4 != 0 || entry.offset >= BAR_BYTES;
    if (!is_beyond) {
        hear_failure(time, (entry.flags & RECORDING_FAILED) != 0);
    }
    const place at = place_of(entry.offset);
    if (entry.offset == MSI_STATUS_REG || entry.offset == MSI_ENABLE_REG ||
        (entry.offset >= msi_source_reg(0) && entry.offset < msi_source_reg(SIRANE_COUNT))) {
        hear_interrupt_register(entry, time, is_write);
    } else if (at.mbox == MBOX_NONE || is_beyond || is_gone_) {
        (is_write ? other_writes_ : other_reads_)++;
    } else if (at.mbox == MBOX_DAP || at.mbox == MBOX_KEEP_ALIVE) {
        hear_card_mailbox(at.mbox, entry, time, is_write);
    } else if (at.mbox == MBOX_COMMAND) {
        hear_command_mailbox(at.sirane, entry, time, is_write);
    } else {
        hear_answer_mailbox(at.sirane, at.mbox, entry, time, is_write);
    }
}

void story::hear_command_mailbox(uint32_t sirane, const recording_entry &entry, uint64_t time, bool is_write)
{
    mailbox &box = boxes_[sirane][MBOX_COMMAND];
    const place at = place_of(entry.offset);
    if (at.what == part::area) {
        if (is_write) {
            touch(box, time, at.index, entry.value);
        }
        return;
    }
    note_state(box, time, MBOX_COMMAND, at.what == part::host_state, entry.value);
    const auto it = sending_[sirane] ? open_.find({sirane, *sending_[sirane]}) : open_.end();
    if (at.what == part::host_state && is_write && entry.value == MBOX_STATE_READY) {
        send_command(sirane, time, entry.thread);
    } else if (at.what == part::host_state && is_write && entry.value == MBOX_STATE_NONE) {
        told_.push_back({.kind = happening_kind::reset,
                         .time = time,
                         .thread = entry.thread,
                         .sirane = static_cast<int32_t>(sirane),
                         .mbox = MBOX_COMMAND});
    } else if (at.what == part::card_state && it != open_.end() &&
               (entry.value == MBOX_STATE_READY || entry.value == MBOX_STATE_REFUSED)) {
        it->second.states.push_back({time, MBOX_COMMAND, false, entry.value});
        it->second.took_ns = time - it->second.time;
        if (entry.value == MBOX_STATE_REFUSED) {
            it->second.problem = "the firmware refused the message";
        }
        const bool is_done = entry.value == MBOX_STATE_REFUSED || is_unanswered(it->second.command);
        sending_[sirane].reset();
        if (is_done) {
            told_.push_back(std::move(it->second));
            open_.erase(it);
        }
    } else if (at.what == part::host_state && is_write && it != open_.end()) {
        give_up(sirane, "the firmware did not take it");
    }
}

// The one that is being handed over will not be.
void story::give_up(uint32_t sirane, const char *problem)
{
    const auto it = open_.find({sirane, *std::exchange(sending_[sirane], std::nullopt)});
    if (it != open_.end()) {
        it->second.problem = problem;
        told_.push_back(std::move(it->second));
        open_.erase(it);
    }
}

void story::send_command(uint32_t sirane, uint64_t time, uint16_t thread)
{
    mailbox &box = boxes_[sirane][MBOX_COMMAND];
    if (sending_[sirane]) {
        give_up(sirane, "the firmware did not take it");
    }
    // One command at a time awaits its answer in the thread that sent it, and a reference is one command's.
    for (auto it = open_.begin(); it != open_.end();) {
        const bool is_same = it->first == std::pair(sirane, box.area[HEADER_REF_ID]);
        if (it->first.first == sirane && (it->second.text.empty() || is_same)) {
            it->second.problem = "no answer came";
            told_.push_back(std::move(it->second));
            it = open_.erase(it);
        } else {
            ++it;
        }
    }
    happening command = {.kind = happening_kind::command,
                         .time = box.area_words > 0 ? box.begun : time,
                         .thread = thread,
                         .sirane = static_cast<int32_t>(sirane),
                         .mbox = MBOX_COMMAND,
                         .command = box.area[HEADER_CMD],
                         .ref_id = box.area[HEADER_REF_ID],
                         .sent = data_of(box.area, box.area_words),
                         .text = box.area[HEADER_SY] == MBOX_SYNC_WORD ? "" : "by callback"};
    set_address(command, command.sent);
    command.states.push_back({time, MBOX_COMMAND, true, MBOX_STATE_READY});
    sending_[sirane] = command.ref_id;
    open_.insert_or_assign({sirane, command.ref_id}, std::move(command));
    box.area_words = 0;
    box.states.clear();
}

void story::hear_answer_mailbox(uint32_t sirane, uint32_t mbox, const recording_entry &entry, uint64_t time,
                                bool is_write)
{
    mailbox &box = boxes_[sirane][mbox];
    const place at = place_of(entry.offset);
    if (at.what == part::area) {
        if (!is_write && box.is_offered) {
            touch(box, time, at.index, entry.value);
        }
        return;
    }
    if (at.what == part::card_state) {
        note_state(box, time, mbox, false, entry.value);
        if (entry.value == MBOX_STATE_READY && !box.is_offered) {
            box.is_offered = true;
            box.area_words = 0;
            box.states = {{time, mbox, false, MBOX_STATE_READY}};
            box.begun = time;
        }
        return;
    }
    if (!is_write) {
        return;
    }
    note_state(box, time, mbox, true, entry.value);
    if (box.is_offered && (entry.value == MBOX_STATE_READY || entry.value == MBOX_STATE_REFUSED)) {
        take_message(sirane, mbox, time, entry.thread, entry.value == MBOX_STATE_REFUSED);
    } else if (entry.value == MBOX_STATE_NONE) {
        told_.push_back({.kind = happening_kind::reset,
                         .time = time,
                         .thread = entry.thread,
                         .sirane = static_cast<int32_t>(sirane),
                         .mbox = mbox});
    }
    box.is_offered = false;
}

void story::take_message(uint32_t sirane, uint32_t mbox, uint64_t time, uint16_t thread, bool is_dropped)
{
    mailbox &box = boxes_[sirane][mbox];
    const auto asked = mbox == MBOX_RESPONSE ? open_.find({sirane, box.area[HEADER_REF_ID]}) : open_.end();
    const bool is_answer = asked != open_.end() && asked->second.command == box.area[HEADER_CMD];
    happening it = is_answer ? std::move(asked->second)
                             : happening{.kind = happening_kind::message,
                                         .time = box.begun,
                                         .thread = thread,
                                         .sirane = static_cast<int32_t>(sirane),
                                         .mbox = mbox,
                                         .command = box.area[HEADER_CMD],
                                         .ref_id = box.area[HEADER_REF_ID]};
    if (is_answer) {
        open_.erase(asked);
    }
    it.took_ns = time - it.time;
    it.answer = data_of(box.area, box.area_words);
    it.rc = box.area[HEADER_RC];
    it.states.insert(it.states.end(), box.states.begin(), box.states.end());
    box.states.clear();
    if (!is_answer) {
        set_address(it, it.answer);
    }
    if (is_dropped) {
        it.problem = "the host dropped the message";
    } else if (it.rc != 0) {
        it.problem = name_of_code(it.rc);
    } else if (!is_answer && mbox == MBOX_RESPONSE) {
        it.problem = "nobody waited for this answer";
    }
    told_.push_back(std::move(it));
    match_message(sirane, mbox, time);
}

void story::hear_card_mailbox(uint32_t mbox, const recording_entry &entry, uint64_t time, bool is_write)
{
    const part what = place_of(entry.offset).what;
    const bool by_host = what == part::host_state;
    if (what == part::area || (by_host && !is_write)) {
        return;
    }
    if (mbox == MBOX_KEEP_ALIVE) {
        const bool was_silent = is_silent_;
        if (by_host) {
            is_silent_ = token_.has_value();
            token_ = entry.value;
        } else if (token_ == entry.value) {
            token_.reset();
            is_silent_ = false;
        }
        if (is_silent_ != was_silent) {
            told_.push_back({.kind = happening_kind::watch,
                             .time = time,
                             .thread = entry.thread,
                             .mbox = mbox,
                             .text = is_silent_ ? "" : "the firmware echoes again",
                             .problem = is_silent_ ? "the firmware does not echo" : ""});
        }
        return;
    }
    if (by_host || std::exchange(card_state_[mbox], entry.value) != entry.value) {
        told_.push_back({.kind = happening_kind::dap,
                         .time = time,
                         .thread = entry.thread,
                         .mbox = mbox,
                         .states = {{time, mbox, by_host, entry.value}}});
    }
}

void story::hear_interrupt_register(const recording_entry &entry, uint64_t time, bool is_write)
{
    if (entry.offset == MSI_ENABLE_REG) {
        are_interrupts_on_ = is_write ? entry.value != 0 : are_interrupts_on_;
    } else if (entry.offset != MSI_STATUS_REG) {
        pending_source_[(entry.offset - msi_source_reg(0)) / 4] = entry.value;
    } else if (is_write) {
        for (uint32_t sirane = 0; sirane < SIRANE_COUNT; sirane++) {
            if ((entry.value >> sirane & 1) == 0) {
                continue;
            }
            const uint32_t source = std::exchange(pending_source_[sirane], 0) & 0xFF;
            if (source != 0) {
                match_interrupt(sirane, source, time);
            } else if (are_interrupts_on_) {
                // It came between the look at which are pending and the clearing of those.
                unseen_[sirane].push_back(time);
                told_.push_back({.kind = happening_kind::interrupt,
                                 .time = time,
                                 .thread = entry.thread,
                                 .sirane = static_cast<int32_t>(sirane),
                                 .problem = "the host cleared it without a look at whose it is"});
            }
        }
    }
}

void story::match_interrupt(uint32_t sirane, uint32_t source, uint64_t time)
{
    constexpr std::pair<uint32_t, uint32_t> ANSWERS[] = {
        {MSI_SOURCE_RESPONSE, MBOX_RESPONSE}, {MSI_SOURCE_PM, MBOX_PM}, {MSI_SOURCE_ALARM, MBOX_ALARM}};
    const auto *const found = std::ranges::find(ANSWERS, source, &std::pair<uint32_t, uint32_t>::first);
    if (found == std::end(ANSWERS)) {
        return;
    }
    mailbox &box = boxes_[sirane][found->second];
    if (box.messages.empty()) {
        box.interrupts.push_back(time);
    } else {
        box.messages.pop_back(); // the nearest: an older one has lost its own
    }
}

// Of the latest that was told.
void story::match_message(uint32_t sirane, uint32_t mbox, uint64_t)
{
    mailbox &box = boxes_[sirane][mbox];
    if (!box.interrupts.empty()) {
        box.interrupts.pop_back();
    } else if (are_interrupts_on_) {
        box.messages.push_back(told_.size() - 1);
    }
}

void story::expire(uint64_t now)
{
    for (uint32_t sirane = 0; sirane < SIRANE_COUNT; sirane++) {
        for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
            mailbox &box = boxes_[sirane][mbox];
            while (!box.interrupts.empty() && box.interrupts.front() + TOGETHER_NS < now) {
                told_.push_back({.kind = happening_kind::interrupt,
                                 .time = box.interrupts.front(),
                                 .sirane = static_cast<int32_t>(sirane),
                                 .mbox = mbox,
                                 .problem = "no message came with this interrupt"});
                box.interrupts.pop_front();
            }
            while (!box.messages.empty()) {
                happening &it = told_[box.messages.front()];
                if (it.time + it.took_ns + TOGETHER_NS >= now) {
                    break;
                }
                std::deque<uint64_t> &unseen = unseen_[sirane];
                while (!unseen.empty() && unseen.front() + TOGETHER_NS < it.time) {
                    unseen.pop_front();
                }
                if (!unseen.empty()) { // its own
                    unseen.pop_front();
                } else if (it.problem.empty()) {
                    it.problem = "no interrupt came with this message";
                }
                box.messages.pop_front();
            }
        }
    }
}

std::vector<happening> story::finish()
{
    for (auto &[key, it] : open_) {
        it.problem = "no answer until the recording ends";
        told_.push_back(std::move(it));
    }
    open_.clear();
    for (const auto &[thread, run] : runs_) {
        told_.push_back({.kind = happening_kind::image,
                         .time = run.begun,
                         .thread = thread,
                         .text = std::to_string(run.words) + " words or more",
                         .problem = "the recording ends before the image"});
    }
    runs_.clear();
    std::ranges::stable_sort(told_, {}, &happening::time);
    return std::move(told_);
}
