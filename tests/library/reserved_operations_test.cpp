#include "support/library.h"

namespace {

TEST_F(library_test, every_reserved_operation_writes_its_line_and_returns_0)
{
    turn_log_on();
    start_library();
    log_lines();
    struct operation {
        const char *name;
        int32_t (*call)();
    };
#define SETTER(name)    {#name, [] { return name(9, 0xFFFFFFFF, 1, 2, 3); }},
#define OPERATION(name) {#name, [] { return name(9, 0xFFFFFFFF); }},
    const operation operations[] = {KELVANE_RESERVED_SETTERS(SETTER) KELVANE_RESERVED_OPERATIONS(OPERATION)};
    EXPECT_EQ(std::size(operations), 78u);
    for (const operation &o : operations) {
        EXPECT_EQ(o.call(), 0);
        EXPECT_EQ(log_lines(), std::vector<std::string>{std::string("INFO  ") + o.name + ": stubbed "});
    }
    EXPECT_NE(log_text().find("INFO  Slot:-1 kelvane_get_rx_osnr_cur: stubbed \n"), std::string::npos);
    trace_level_mask_clear(2);
    EXPECT_EQ(kelvane_get_rx_osnr_cur(9, 0), 0);
    EXPECT_TRUE(log_lines().empty());
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

} // namespace
