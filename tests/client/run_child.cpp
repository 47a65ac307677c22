#include "client/run_child.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mock_client/commands.h"
#include "mock_client/console.h"
#include "platform/host_tree.h"

namespace {

std::string text_of(const std::filesystem::path &path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::filesystem::path new_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "mock_client.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    return name;
}

void redirect(int fd, const std::filesystem::path &path, int flags)
{
    const int file = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (file < 0 || dup2(file, fd) < 0) {
        perror(path.c_str());
        abort();
    }
    close(file);
}

[[noreturn]] void be_child(const std::filesystem::path &folder, streams how, const std::function<int()> &body)
{
    const rlimit limit = {1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    redirect(0, folder / "in", O_RDONLY);
    redirect(1, folder / "out", O_WRONLY | O_CREAT);
    if (how == streams::apart) {
        redirect(2, folder / "err", O_WRONLY | O_CREAT);
    } else {
        dup2(1, 2);
    }
    const int status = body();
    exit(status);
}

} // namespace

host_folder::host_folder() : root(new_folder())
{
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
    const std::filesystem::path folder = new_folder();
    std::ofstream(folder / "in", std::ios::binary) << input;
    fflush(nullptr); // or the child prints it, too
    const pid_t child = fork();
    if (child == 0) {
        be_child(folder, how, body);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        perror("child");
        abort();
    }
    child_result result = {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
                           text_of(folder / "out"), text_of(folder / "err")};
    std::filesystem::remove_all(folder);
    return result;
}

child_result run_client(const std::vector<const char *> &options, const std::string &input, streams how)
{
    return run_child(input, how, [&options] {
        std::vector<char *> arguments = {const_cast<char *>("mock_client")};
        for (const char *option : options) {
            arguments.push_back(const_cast<char *>(option));
        }
        const int count = static_cast<int>(arguments.size());
        arguments.push_back(nullptr);
        return client_main(count, arguments.data());
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
