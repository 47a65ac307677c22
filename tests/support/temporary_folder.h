// Folders of a test's own, gone with everything in them at the end.
#ifndef TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>

#include "platform/host_tree.h"

class temporary_folder {
  public:
    temporary_folder() : path(make())
    {
    }
    ~temporary_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    temporary_folder(const temporary_folder &) = delete;

    // Writes a file below, with the folders that lead to it.
    void write(const std::string &relative, const std::string &text) const
    {
        const std::filesystem::path file = std::filesystem::path(path) / relative;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    const std::string path;

  private:
    static std::string make()
    {
        std::string name = (std::filesystem::temp_directory_path() / "kelvane_test_XXXXXX").string();
        return mkdtemp(name.data()) != nullptr ? name : throw std::runtime_error("mkdtemp failed");
    }
};

// One that is the host's tree, with its trace rings.
class host_folder : public temporary_folder {
  public:
    host_folder()
    {
        umask(S_IWGRP | S_IWOTH); // of such a tree no folder is open to others
        std::filesystem::create_directories(path + "/root");
        std::filesystem::create_directories(path + "/rings");
        setenv(HOST_TREE_VARIABLE, path.c_str(), 1);
        setenv("KELVANE_TRACE_DIR", (path + "/rings").c_str(), 1);
        host_tree_forget();
    }
};

#endif
