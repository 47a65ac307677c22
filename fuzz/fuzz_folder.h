// A host's tree of the process's own, so that nothing of this machine is read or written.
#ifndef FUZZ_FUZZ_FOLDER_H
#define FUZZ_FUZZ_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/host_tree.h"

struct fuzz_folder {
    fuzz_folder()
    {
        path = (std::filesystem::temp_directory_path() / "kelvane_fuzz_XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) {
            abort();
        }
        std::filesystem::create_directories(path + "/root");
        std::filesystem::create_directories(path + "/rings");
        setenv(HOST_TREE_VARIABLE, path.c_str(), 1);
        setenv("KELVANE_TRACE_DIR", (path + "/rings").c_str(), 1);
        host_tree_forget();
    }
    ~fuzz_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    fuzz_folder(const fuzz_folder &) = delete;
    fuzz_folder &operator=(const fuzz_folder &) = delete;

    std::string path;
};

#endif
