// The largest image that can be downloaded, onto a card that takes a word as fast as memory does. The
// reference: the pauses that let a real card keep up, and the stores.
#include <fstream>
#include <string>

#include "benchmarks/clock.h"
#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"
#include "benchmarks/library/bench_card.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t IMAGE_BYTES = 33'553'403;
constexpr uint32_t WORDS_BETWEEN_PAUSES = 50;
constexpr uint64_t PAUSE_NS = 2000;

std::string image;

void make_image()
{
    image = figure_host() + "/image";
    std::string bytes(IMAGE_BYTES, '\0');
    for (uint32_t i = 0; i < IMAGE_BYTES; i++) {
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    }
    std::ofstream(image) << bytes;
    std::ofstream(image + ".md5") << "0123456789abcdef0123456789abcdef  image\n";
}

void start()
{
    make_image();
    start_on_bench_card(WITHOUT_THREADS);
}

void download_image(unsigned)
{
    if (kelvane_download_software(0, KELVANE_DOWNLOAD_HESPERA, image.c_str()) != 0) {
        figure_fail("kelvane_download_software");
    }
}

void pauses_and_stores(unsigned)
{
    std::atomic<uint32_t> *word = &bench_word(DOWNLOAD_RAM + DOWNLOAD_IMAGE_OFFSET);
    for (uint32_t i = 0; i < (IMAGE_BYTES + 3) / 4; i++) {
        if (i % WORDS_BETWEEN_PAUSES == 0) {
            wait_busy(PAUSE_NS);
        }
        word[i].store(i, std::memory_order_relaxed);
    }
}

} // namespace

round_values download()
{
    static const bool started = (start(), true);
    (void)started;
    const double measured = processor_nanoseconds_each(1, download_image) / 1e6;
    return {measured, processor_nanoseconds_each(1, pauses_and_stores) / 1e6};
}
