// Runs a target over kept inputs with no fuzzer around it.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; i++) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        fprintf(stderr, "replay %s\n", argv[i]); // the last one named is the one that failed
        if (bytes.empty()) {
            perror("nothing to be read there");
            return 1;
        }
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    fprintf(stderr, argc < 2 ? "usage: replay INPUT...\n" : "%d inputs\n", argc - 1);
    return argc < 2 ? 1 : 0;
}
