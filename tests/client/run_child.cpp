#include "client/run_child.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mock_client/commands.h"
#include "mock_client/console.h"
#include "platform/host_tree.h"

namespace {

FILE *file_with(const std::string &text)
{
    FILE *file = tmpfile();
    fwrite(text.data(), 1, text.size(), file);
    rewind(file);
    return file;
}

std::string text_of(FILE *file)
{
    fseek(file, 0, SEEK_END);
    std::string text(static_cast<size_t>(ftell(file)), '\0');
    rewind(file);
    text.resize(fread(text.data(), 1, text.size(), file));
    fclose(file);
    return text;
}

} // namespace

host_folder::host_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "mock_client.XXXXXX").string();
    root = mkdtemp(name.data());
    setenv(HOST_TREE_VARIABLE, root.c_str(), 1);
    host_tree_forget();
}

host_folder::~host_folder()
{
    unsetenv(HOST_TREE_VARIABLE);
    host_tree_forget();
    std::filesystem::remove_all(root);
}

void host_folder::write(const std::string &path, const std::string &text) const
{
    std::filesystem::create_directories((root / path).parent_path());
    std::ofstream(root / path) << text;
}

void host_folder::add_card(uint64_t bar_bytes) const
{
    write("sys/class/uio/uio0/name", "ZYNQFPGA\n");
    write("sys/class/uio/uio0/maps/map0/size", "0x0000000004000000\n");
    write("dev/uio0", "");
    std::filesystem::resize_file(root / "dev/uio0", bar_bytes);
}

child_result run_child(const std::string &input, streams how, const std::function<int()> &body)
{
    FILE *const files[] = {file_with(input), file_with(""), file_with("")};
    fflush(nullptr); // or the child prints it, too
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit = {1 << 20, 1 << 20};
        setrlimit(RLIMIT_FSIZE, &limit);
        dup2(fileno(files[0]), STDIN_FILENO);
        dup2(fileno(files[1]), STDOUT_FILENO);
        dup2(fileno(files[how == streams::apart ? 2 : 1]), STDERR_FILENO);
        exit(body());
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        perror("child");
        abort();
    }
    fclose(files[0]);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), text_of(files[1]),
            text_of(files[2])};
}

child_result run_client(const std::vector<const char *> &options, const std::string &input, streams how)
{
    return run_child(input, how, [&options] {
        std::vector<char *> arguments = {const_cast<char *>("mock_client")};
        std::ranges::transform(options, std::back_inserter(arguments),
                               [](auto *it) { return const_cast<char *>(it); });
        arguments.push_back(nullptr);
        return client_main(static_cast<int>(arguments.size()) - 1, arguments.data());
    });
}

child_result run_commands(const std::vector<std::string> &lines)
{
    return run_child("", streams::together, [&lines] {
        console_start();
        int32_t result = 0;
        for (const std::string &line : lines) {
            console_text("$ %s\n", line.c_str());
            command_run(line.c_str(), {0, 1937000, 18}, result);
        }
        return result;
    });
}
