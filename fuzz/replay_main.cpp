// A fuzz target without libFuzzer: runs its entry once per input file, the
// files named and every file of the folders named (a missing folder is
// skipped). The ordinary builds test the seed corpora and the kept crash
// inputs this way.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        if (fs::is_directory(argv[i], ec)) {
            for (const auto& entry : fs::directory_iterator(argv[i]))
                if (entry.is_regular_file())
                    inputs.push_back(entry.path());
        } else if (fs::exists(argv[i], ec)) {
            inputs.push_back(argv[i]);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    LLVMFuzzerInitialize(&argc, &argv);
    for (const std::string& path : inputs) {
        std::ifstream in(path, std::ios::binary);
        std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        fprintf(stderr, "%s\n", path.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    fprintf(stderr, "%zu inputs ran\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
