// A host's tree with one card in it, and a process that runs there.
#ifndef TESTS_MOCK_CLIENT_RUN_CHILD_H
#define TESTS_MOCK_CLIENT_RUN_CHILD_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// A folder of its own, set as the host tree's root; gone with the record.
struct host_folder {
    host_folder();
    ~host_folder();
    host_folder(const host_folder &) = delete;
    host_folder &operator=(const host_folder &) = delete;

    void write(const std::string &path, const std::string &text) const;
    void add_card(uint64_t bar_bytes) const; // as uio0

    std::filesystem::path root;
};

struct child_result {
    int status;      // exit status, or minus the signal that ended it
    std::string out; // standard output; with `err` none, both in the order of their writing
    std::string err;
};

enum class streams { together, apart };

// Runs `body` in a process of its own with `input` as standard input; its result is the exit status.
// Output beyond 1 MiB ends the process.
child_result run_child(const std::string &input, streams how, const std::function<int()> &body);

// Runs the client's main.
child_result run_client(const std::vector<const char *> &options, const std::string &input,
                        streams how = streams::together);

// Runs the commands alone, each behind a line "$ <command>", with no start before them and no prompt.
child_result run_commands(const std::vector<std::string> &lines);

#endif
