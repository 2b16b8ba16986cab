// A configuration file as the store reads and rewrites it. The input's first line is the key (also the value
// written), the rest is the file; the first byte chooses the size of the reader's buffer.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size), line = input.substr(0, input.find('\n'));
    const std::string file = input.size() > line.size() ? input.substr(line.size() + 1) : "";
    const char* key = line.c_str();  // up to a NUL in it
    fuzz_write("/tmp/ulsp/f.config", file.data(), file.size());

    const size_t out_size = 1 + (size ? data[0] % 64 : 0);
    char out[64 + 16];
    memset(out, 'Z', sizeof out);
    conf_get(key, out, out_size, "f.config");
    FUZZ_CHECK(strnlen(out, out_size) < out_size);
    for (size_t i = out_size; i < sizeof out; ++i)
        FUZZ_CHECK(out[i] == 'Z');
    FUZZ_CHECK(conf_value(key, "f.config").size() < CONF_VALUE_SIZE);

    std::string options = "o", list = "l";
    const int shown = conf_list_options(key, "F", options, list, "f.config", 40);
    FUZZ_CHECK(shown <= 0 || size_t(shown) == list.size());
    conf_set(key, key, "f.config");
    conf_add(key, key, "f.config");
    // A stored count clears up to 99 entries, a rewrite each: a few keep the runs fast.
    conf_list_store(key, "F", conf_list_count(key, "f.config") % 8, key, "f.config");
    conf_delete(key, "f.config");
    conf_flush();
    FUZZ_CHECK(std::distance(std::filesystem::directory_iterator(fuzz_root() + "/tmp/ulsp"),  // nothing beside
                             std::filesystem::directory_iterator()) == 1);
    fuzz_reset();
    return 0;
}
