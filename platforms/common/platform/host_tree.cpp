#include "platform/host_tree.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace {

std::mutex root_mutex;
std::atomic<const char *> root_text = nullptr; // null: the environment has not been asked yet
std::string *root_storage = nullptr;           // never freed: threads outlive main

} // namespace

const char *host_tree_root(void)
{
    const char *known = root_text.load(std::memory_order_acquire);
    if (known != nullptr) {
        return known;
    }
    const std::lock_guard guard(root_mutex);
    if (root_text.load(std::memory_order_relaxed) == nullptr) {
        if (root_storage == nullptr) {
            root_storage = new std::string;
        }
        const char *wanted = secure_getenv(HOST_TREE_VARIABLE);
        root_storage->assign(wanted != nullptr ? wanted : "");
        while (root_storage->ends_with('/')) {
            root_storage->pop_back();
        }
        root_text.store(root_storage->c_str(), std::memory_order_release);
    }
    return root_text.load(std::memory_order_relaxed);
}

int host_tree_path(char *out, size_t size, const char *path)
{
    const char *root = host_tree_root();
    const size_t root_length = strlen(root);
    const size_t path_length = strlen(path);
    if (root_length + path_length >= size) {
        if (size > 0) {
            out[0] = '\0';
        }
        return ENAMETOOLONG;
    }
    memcpy(out, root, root_length);
    memcpy(out + root_length, path, path_length + 1);
    return 0;
}

FILE *host_tree_fopen(const char *path, const char *mode)
{
    char full[PATH_MAX];
    const int error = host_tree_path(full, sizeof full, path);
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    return fopen(full, (std::string(mode) + "e").c_str());
}

void host_tree_forget(void)
{
    const std::lock_guard guard(root_mutex);
    root_text.store(nullptr, std::memory_order_relaxed);
}
