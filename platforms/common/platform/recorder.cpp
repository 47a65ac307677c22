#include "platform/recorder.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_size_guard.h"
#include "platform/recorder_queue.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "platform/word_digest.h"

namespace {

constexpr std::chrono::milliseconds WRITING_PERIOD(100);
constexpr uint32_t RUN_WORDS_MIN = 16;       // fewer are worth more than their digest
constexpr uint32_t RUN_TOLD_EVERY = 1 << 16; // words
constexpr uint32_t RUN_TIME_EVERY = 64;      // words that share a look at the clock

struct recording {
    int file;
    std::string path;
    uint32_t image_from;
    uint64_t began; // monotonic
    recorder_queue &queue;
    pthread_t writer = {};
    std::mutex mutex = {};
    std::condition_variable wake = {};
    bool ending = false; // under the mutex
    std::atomic<uint16_t> threads = 0;
    recording *earlier = nullptr;
};

std::mutex starting;              // and stopping
recording *running;               // under it, until recorder_stop, also when its file is full
recording *ended;                 // likewise; kept, since a thread may still be telling one
std::atomic<recording *> current; // what mmio and uio tell
std::atomic<uint32_t> generation; // of recordings; a thread says its name in each

// What a thread has to remember from one access to the next.
struct thread_part {
    uint32_t generation = 0;
    uint16_t number = 0;
    uint32_t run_from = 0;
    uint32_t run_words = 0;
    uint64_t run_time = 0;
    uint32_t first_words[RUN_WORDS_MIN] = {};
    word_digest digest;
};
thread_local thread_part own;

uint64_t now(const recording &to)
{
    return wait_monotonic() - to.began;
}

recording_entry entry_of(recording_kind kind, uint64_t time, uint32_t offset, uint32_t value,
                         uint8_t flags = 0)
{
    return {static_cast<uint32_t>(time),
            static_cast<uint32_t>(time >> 32),
            offset,
            value,
            own.number,
            kind,
            flags};
}

// An entry that begins with 16 bytes of something else than time, offset and value.
recording_entry entry_of_bytes(recording_kind kind, const void *bytes)
{
    recording_entry entry = entry_of(kind, 0, 0, 0);
    memcpy(&entry, bytes, offsetof(recording_entry, thread));
    return entry;
}

void introduce_thread(recording &to)
{
    own = {};
    own.generation = generation.load(std::memory_order_relaxed);
    own.number = static_cast<uint16_t>(to.threads.fetch_add(1) + 1);
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    to.queue.put(entry_of_bytes(RECORDING_THREAD, name));
}

void end_run(recording &to)
{
    if (own.run_words >= RUN_WORDS_MIN) {
        to.queue.put(entry_of(RECORDING_RUN, own.run_time, own.run_from, own.run_words));
        to.queue.put(entry_of_bytes(RECORDING_DIGEST, own.digest.finish().data()));
    } else {
        for (uint32_t i = 0; i < own.run_words; i++) {
            to.queue.put(entry_of(RECORDING_WRITE, own.run_time, own.run_from + 4 * i, own.first_words[i]));
        }
    }
    own.run_words = 0;
}

void extend_run(recording &to, uint32_t offset, uint32_t value)
{
    if (own.run_words == 0) {
        own.run_from = offset;
        own.digest = {};
    }
    if (own.run_words < RUN_WORDS_MIN) {
        own.first_words[own.run_words] = value;
    }
    own.digest.add(value);
    if (own.run_words++ % RUN_TIME_EVERY == 0) {
        own.run_time = now(to);
    }
    if (own.run_words % RUN_TOLD_EVERY == 0) {
        to.queue.put(entry_of(RECORDING_RUN, own.run_time, own.run_from, own.run_words));
    }
}

void record(recording_kind kind, uint32_t offset, uint32_t value, bool answered)
{
    recording *const to = current.load(std::memory_order_acquire);
    if (to == nullptr) {
        return;
    }
    if (own.generation != generation.load(std::memory_order_relaxed)) [[unlikely]] {
        introduce_thread(*to);
    }
    const bool of_image = kind == RECORDING_WRITE && answered && offset >= to->image_from;
    if (own.run_words > 0 && (!of_image || offset != own.run_from + 4 * own.run_words)) {
        end_run(*to);
    }
    if (of_image) {
        extend_run(*to, offset, value);
    } else {
        to->queue.put(entry_of(kind, now(*to), offset, value, answered ? 0 : RECORDING_FAILED));
    }
}

// Returns 0 or an error.
int write_whole(int file, const void *data, size_t bytes)
{
    file_size_guard guard;
    const auto *at = static_cast<const char *>(data);
    while (bytes > 0) {
        const ssize_t written = write(file, at, bytes);
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        at += written > 0 ? written : 0;
        bytes -= written > 0 ? static_cast<size_t>(written) : 0;
    }
    guard.all_written();
    return 0;
}

struct full_block {
    recording_block head;
    recording_entry entries[RECORDING_BLOCK_ENTRIES_MAX];
};
static_assert(sizeof(full_block) ==
              sizeof(recording_block) + RECORDING_BLOCK_ENTRIES_MAX * sizeof(recording_entry));

// What is queued, to the last block, which need not be full. Returns 0 or an error.
int write_blocks(recording &from, full_block &block)
{
    for (;;) {
        uint32_t count = 0;
        while (count < RECORDING_BLOCK_ENTRIES_MAX && from.queue.take(&block.entries[count])) {
            count++;
        }
        if (count == 0) {
            return 0;
        }
        const size_t bytes = count * sizeof(recording_entry);
        block.head = {RECORDING_BLOCK_MAGIC, count, from.queue.take_lost(),
                      recording_crc32(block.entries, bytes)};
        if (const int error = write_whole(from.file, &block, sizeof block.head + bytes); error != 0) {
            return error;
        }
    }
}

bool wait_for_end(recording &it)
{
    std::unique_lock lock(it.mutex);
    return it.wake.wait_for(lock, WRITING_PERIOD, [&] { return it.ending; });
}

void *write_recording(void *argument)
{
    auto &it = *static_cast<recording *>(argument);
    const auto block = std::make_unique<full_block>();
    bool ending = false;
    int error = 0;
    while (!ending && error == 0) {
        ending = wait_for_end(it);
        error = write_blocks(it, *block);
    }
    if (error != 0) {
        current = nullptr;
        fprintf(stderr, "the recording %s ends here: %s\n", it.path.c_str(), strerror(error));
    }
    return nullptr;
}

int write_head(const recording &of)
{
    timespec time{};
    wait_realtime(&time);
    recording_head head{};
    memcpy(head.magic, RECORDING_MAGIC, sizeof head.magic);
    head.version = RECORDING_VERSION;
    head.head_bytes = sizeof head;
    head.began_ns = static_cast<uint64_t>(time.tv_sec) * WAIT_NS_PER_S + static_cast<uint64_t>(time.tv_nsec);
    head.process = static_cast<uint32_t>(getpid());
    head.image_from = of.image_from;
    snprintf(head.program, sizeof head.program, "%s", program_invocation_short_name);
    head.crc32 = recording_crc32(&head, offsetof(recording_head, crc32));
    return write_whole(of.file, &head, sizeof head);
}

// A plain file that no other process records into. Returns 0 or an error; `file` is -1 then.
int open_locked(const char *path, int *file, off_t *size)
{
    *file = open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
    if (*file < 0) {
        return errno;
    }
    struct stat status {};
    int error = 0;
    if (fstat(*file, &status) != 0) {
        error = errno;
    } else if (!S_ISREG(status.st_mode)) {
        error = EINVAL;
    } else if (flock(*file, LOCK_EX | LOCK_NB) != 0) {
        error = errno == EWOULDBLOCK ? EBUSY : errno;
    }
    if (error != 0) {
        close(std::exchange(*file, -1));
    }
    *size = status.st_size;
    return error;
}

// What a program recorded before it was started again may tell why it had to be.
int open_empty(const std::string &path, int *file)
{
    off_t size = 0;
    int error = open_locked(path.c_str(), file, &size);
    if (error == 0 && size > 0) {
        std::error_code none;
        const std::string target = std::filesystem::canonical(path, none).string(); // a link stays
        error = rename(target.c_str(), (target + ".1").c_str()) == 0 ? 0 : errno;
        close(std::exchange(*file, -1));
        error = error == 0 ? open_locked(path.c_str(), file, &size) : error;
    }
    return error;
}

int start_writer(recording &it)
{
    sigset_t before;
    thread_block_signals(&before);
    const int error = pthread_create(&it.writer, nullptr, write_recording, &it);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error == 0) {
        platform_thread_set_name("recorder", it.writer);
    }
    return error;
}

} // namespace

int recorder_start(const char *path, uint32_t image_from)
{
    const std::scoped_lock lock(starting);
    if (running != nullptr) {
        return EBUSY;
    }
    int file = -1;
    int error = open_empty(path, &file);
    if (error != 0) {
        return error;
    }
    static auto *const queue = new recorder_queue; // for all recordings of this process
    queue->empty();                                // of what a full disk left of the last
    std::unique_ptr<recording> it(new recording{file, path, image_from, wait_monotonic(), *queue});
    error = write_head(*it);
    error = error == 0 ? start_writer(*it) : error;
    if (error != 0) {
        close(file);
        return error;
    }
    static const int at_exit = atexit(recorder_stop);
    (void)at_exit; // without it a recording lacks its last tenth of a second
    running = it.release();
    generation++;
    current = running;
    return 0;
}

void recorder_stop()
{
    const std::scoped_lock lock(starting);
    if (running == nullptr) {
        return;
    }
    if (current.exchange(nullptr) != nullptr) {
        running->queue.put(entry_of(RECORDING_END, now(*running), 0, 0));
    }
    {
        const std::scoped_lock state(running->mutex);
        running->ending = true;
    }
    running->wake.notify_one();
    pthread_join(running->writer, nullptr);
    close(running->file);
    running->earlier = std::exchange(ended, running);
    running = nullptr;
}

bool recorder_is_on()
{
    return current.load(std::memory_order_relaxed) != nullptr;
}

void recorder_read(uint32_t offset, uint32_t value, bool answered)
{
    record(RECORDING_READ, offset, value, answered);
}

void recorder_write(uint32_t offset, uint32_t value, bool answered)
{
    record(RECORDING_WRITE, offset, value, answered);
}

void recorder_interrupt(uint32_t count)
{
    record(RECORDING_INTERRUPT, 0, count, true);
}

void recorder_interrupts_ended(int error)
{
    record(RECORDING_INTERRUPT, 0, static_cast<uint32_t>(error), false);
}
