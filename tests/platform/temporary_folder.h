// A folder of the test's own, gone with everything in it at the end.
#ifndef TESTS_PLATFORM_TEMPORARY_FOLDER_H
#define TESTS_PLATFORM_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class temporary_folder {
  public:
    temporary_folder()
    {
        path_ = (std::filesystem::temp_directory_path() / "kelvane_test_XXXXXX").string();
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed");
        }
    }
    ~temporary_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_folder(const temporary_folder &) = delete;
    temporary_folder &operator=(const temporary_folder &) = delete;

    const std::string &path() const
    {
        return path_;
    }

    // Writes a file below, with the folders that lead to it.
    void write(const std::string &relative, const std::string &text) const
    {
        const std::filesystem::path file = std::filesystem::path(path_) / relative;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

  private:
    std::string path_;
};

#endif
