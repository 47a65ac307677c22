// Runs a target over kept inputs, each a file or a folder of files, with no fuzzer around it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

using std::filesystem::path;

std::vector<path> files_of(const path &where)
{
    if (!std::filesystem::is_directory(where)) {
        return {where};
    }
    std::vector<path> files;
    for (const auto &entry : std::filesystem::directory_iterator(where)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; i++) {
        for (const path &file : files_of(argv[i])) {
            std::ifstream stream(file, std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
            if (!stream.good() && !stream.eof()) {
                fprintf(stderr, "cannot read %s\n", file.c_str());
                return 1;
            }
            fprintf(stderr, "replay %s\n", file.c_str()); // the last one named is the one that failed
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            count++;
        }
    }
    if (count == 0) {
        fprintf(stderr, "usage: %s INPUT...\n", argv[0]);
        return 1;
    }
    fprintf(stderr, "%d inputs\n", count);
    return 0;
}
