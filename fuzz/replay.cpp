// Runs a target over kept inputs, each a file or a folder of files, with no fuzzer around it.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
    std::set<std::filesystem::path> files; // in the order of their names
    for (int i = 1; i < argc; i++) {
        if (std::filesystem::is_directory(argv[i])) {
            for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
                files.insert(entry.path());
            }
        } else {
            files.insert(argv[i]);
        }
    }
    for (const auto &file : files) {
        std::ifstream stream(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        if (!stream.good() && !stream.eof()) {
            fprintf(stderr, "cannot read %s\n", file.c_str());
            return 1;
        }
        fprintf(stderr, "replay %s\n", file.c_str()); // the last one named is the one that failed
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    fprintf(stderr, files.empty() ? "usage: replay INPUT...\n" : "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
