// What a recording tells, in the words of the protocol: each exchange, each message, and what went wrong.
#ifndef KELVANECTL_RECORDING_STORY_H
#define KELVANECTL_RECORDING_STORY_H

#include <array>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kelvane_mbox.h"
#include "platform/recording_layout.h"

enum class happening_kind {
    command,   // from its first word to the end of its answer
    message,   // one that no command of the host's awaits: a batch, alarms, a notice
    interrupt, // that the card told of
    image,     // words written into the memory for images
    watch,     // the firmware stopped to echo, or began again
    dap,       // a state of that mailbox
    reset,     // of a mailbox, by the host
    card,      // nothing answers any more, or again
};

struct state_change {
    uint64_t time;
    uint32_t mbox;
    bool by_host;
    uint32_t state;
};

struct happening {
    happening_kind kind;
    uint64_t time;
    uint64_t took_ns = 0;
    uint16_t thread = 0;
    int32_t sirane = -1; // -1: the card's
    uint32_t mbox = MBOX_NONE;
    uint32_t command = COMMAND_COUNT;
    uint32_t ref_id = 0;
    std::optional<kelvane_device_address> address = {};
    std::vector<uint32_t> sent = {};
    std::vector<uint32_t> answer = {};
    std::vector<state_change> states = {};
    uint32_t rc = 0;
    std::string text = {};    // what the fields above do not say
    std::string problem = {}; // empty: as it should be
};

class story {
  public:
    // In the order of their times.
    void hear(const recording_entry &entry);

    // After the last: what is still open is told. In the order of their begins.
    std::vector<happening> finish();

    [[nodiscard]] const std::map<uint16_t, std::string> &thread_names() const
    {
        return threads_;
    }
    [[nodiscard]] uint64_t other_reads() const // of tables, logs and registers beside the mailboxes
    {
        return other_reads_;
    }
    [[nodiscard]] uint64_t other_writes() const
    {
        return other_writes_;
    }
    [[nodiscard]] bool has_ended() const // in order
    {
        return has_ended_;
    }

  private:
    struct mailbox {
        std::vector<uint32_t> area = std::vector<uint32_t>(MBOX_HEADER_WORDS + MBOX_DATA_WORDS);
        uint32_t area_words = 0; // that were touched, from the first
        uint64_t begun = 0;
        uint32_t card_state = 0;
        bool is_offered = false;
        std::vector<state_change> states;
        std::deque<uint64_t> interrupts; // whose message has not come yet
        std::deque<size_t> messages;     // in told_, whose interrupt has not come yet
    };

    struct image_run {
        uint64_t begun;
        uint32_t offset;
        uint32_t words;
    };

    void hear_access(const recording_entry &entry, uint64_t time, bool is_write);
    void hear_command_mailbox(uint32_t sirane, const recording_entry &entry, uint64_t time, bool is_write);
    void hear_answer_mailbox(uint32_t sirane, uint32_t mbox, const recording_entry &entry, uint64_t time,
                             bool is_write);
    void hear_card_mailbox(uint32_t mbox, const recording_entry &entry, uint64_t time, bool is_write);
    void hear_interrupt_register(const recording_entry &entry, uint64_t time, bool is_write);
    void hear_failure(uint64_t time, bool failed);
    void note_state(mailbox &box, uint64_t time, uint32_t mbox, bool by_host, uint32_t state) const;
    void touch(mailbox &box, uint64_t time, uint32_t index, uint32_t value) const;
    void send_command(uint32_t sirane, uint64_t time, uint16_t thread);
    void take_message(uint32_t sirane, uint32_t mbox, uint64_t time, uint16_t thread, bool is_dropped);
    void give_up(uint32_t sirane, const char *problem);
    void match_message(uint32_t sirane, uint32_t mbox, uint64_t time);
    void match_interrupt(uint32_t sirane, uint32_t source, uint64_t time);
    void expire(uint64_t now);

    mailbox boxes_[SIRANE_COUNT][MBOX_DAP];
    std::map<std::pair<uint32_t, uint32_t>, happening> open_; // commands by sirane and reference
    std::optional<uint32_t> sending_[SIRANE_COUNT]; // reference of the one that is being handed over
    uint32_t pending_source_[SIRANE_COUNT] = {};
    std::deque<uint64_t> unseen_[SIRANE_COUNT]; // interrupts that were cleared without a look at their source
    uint32_t card_state_[MBOX_COUNT] = {};      // of the mailboxes that exist once
    std::optional<uint32_t> token_;             // of the watch, without its echo so far
    bool is_silent_ = false;
    bool are_interrupts_on_ = false;
    bool is_gone_ = false;
    bool has_ended_ = false;
    std::map<uint16_t, image_run> runs_;
    std::map<uint16_t, std::string> threads_;
    uint64_t other_reads_ = 0;
    uint64_t other_writes_ = 0;
    std::vector<happening> told_;
};

#endif
