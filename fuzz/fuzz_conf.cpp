// A configuration file as the store reads and rewrites it. The input's first
// line is the key (also the value written), the rest is the file; the first
// byte chooses the size of the reader's buffer.
#include "conf/conf.h"
#include "fuzz_support.h"

#include <filesystem>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string input(reinterpret_cast<const char*>(data), size);
    size_t eol = input.find('\n');
    std::string key = input.substr(0, eol);
    key = key.substr(0, key.find('\0'));
    const std::string file = eol == std::string::npos ? "" : input.substr(eol + 1);
    fuzz_write("/tmp/ulsp/f.config", file.data(), file.size());

    const size_t out_size = 1 + (size ? data[0] % 64 : 0);
    char out[64 + 16];
    memset(out, 'Z', sizeof out);
    conf_get(key.c_str(), out, out_size, "f.config");
    FUZZ_CHECK(strnlen(out, out_size) < out_size);
    for (size_t i = out_size; i < sizeof out; ++i)
        FUZZ_CHECK(out[i] == 'Z');
    FUZZ_CHECK(conf_value(key.c_str(), "f.config").size() < CONF_VALUE_SIZE);

    std::string options = "o", list = "l";
    int shown = conf_list_options(key.c_str(), "F", options, list, "f.config", 40);
    FUZZ_CHECK(shown <= 0 || size_t(shown) == list.size());
    conf_set(key.c_str(), key.c_str(), "f.config");
    conf_add(key.c_str(), key.c_str(), "f.config");
    // A stored count clears up to 99 entries, a rewrite each: a few keep the runs fast.
    conf_list_store(key.c_str(), "F", conf_list_count(key.c_str(), "f.config") % 8, key.c_str(), "f.config");
    conf_delete(key.c_str(), "f.config");
    conf_flush();
    // No sibling file is left behind.
    FUZZ_CHECK(std::distance(std::filesystem::directory_iterator(fuzz_sandbox().root + "/tmp/ulsp"),
                             std::filesystem::directory_iterator()) == 1);
    fuzz_reset();
    return 0;
}
