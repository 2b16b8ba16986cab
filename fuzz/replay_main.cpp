// A fuzz target without libFuzzer: runs its entry once per input file, the files named and every file of the
// folders named (a missing folder is skipped). With "--mutate N" first, each input runs N more times mutated
// (pieces cut out, tokens, bytes, pieces of itself and long runs put in), the same variants on every run: the
// seeded stress run of the parsers.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

size_t below(size_t n)  // splitmix64: the same sequence with every compiler and library
{
    static uint64_t state = 20240611;
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return size_t((z ^ (z >> 31)) % n);
}

std::string mutate(std::string s)
{
    static const std::string tokens[] = {"%", "%4", "%00", "&", "=", "lang=", "\r\n", "\n", "--", "--x", "\"",
                                         "filename=\"", "{", "}", "'", std::string(1, '\0'), ":", "/", "..", "_N="};
    for (size_t edits = 1 + below(5); edits > 0; --edits) {
        const size_t at = below(s.size() + 1), kind = below(5);
        if (kind == 0)
            s.erase(at, below(5) ? below(16) : std::string::npos);
        else
            s.insert(at, kind == 1 ? tokens[below(std::size(tokens))] : kind == 2 ? std::string(1, char(below(256)))
                       : kind == 3 ? s.substr(below(s.size() + 1), below(64))
                                   : std::string(200 + below(1200), "a-\r"[below(3)]));  // past the line buffers
    }
    return s;
}

}  // namespace

int main(int argc, char** argv)
{
    const int variants = argc > 2 && strcmp(argv[1], "--mutate") == 0 ? atoi(argv[2]) : 0;
    std::vector<std::string> inputs;
    for (int i = variants ? 3 : 1; i < argc; ++i) {
        std::error_code ec;
        if (std::filesystem::is_directory(argv[i], ec)) {
            for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
                if (entry.is_regular_file())
                    inputs.push_back(entry.path());
        } else if (std::filesystem::exists(argv[i], ec)) {
            inputs.push_back(argv[i]);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    LLVMFuzzerInitialize(&argc, &argv);
    for (const std::string& path : inputs) {
        std::ifstream in(path, std::ios::binary);
        const std::string original{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        fprintf(stderr, "%s\n", path.c_str());
        std::string input = original;
        for (int v = 0; v <= variants; input = mutate(++v % 4 ? input : original))
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    }
    fprintf(stderr, "%zu inputs ran\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
