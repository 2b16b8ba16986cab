// The message catalogue of a language. The input's first line is the key asked for, the rest is the messages
// file; the first byte chooses the language (a good one or one that must fall back) and the room of the page's
// buffer.
#include "fuzz_support.h"
#include "render/pagehelp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size), key = input.substr(0, input.find_first_of('\n'));
    const std::string file = input.size() > key.size() ? input.substr(key.size() + 1) : "";
    static const char* const langs[] = {"english", "deutsc", "", "../doc", ".", "a/b"};
    const unsigned choice = size ? data[0] : 0;
    snprintf(g_request.lang, sizeof g_request.lang, "%s", langs[choice % 6]);
    fuzz_write(std::string(http_lang()) + "/messages", file.data(), file.size());

    char out[AUX_MESSAGE_SIZE + 16];
    memset(out, 'Z', sizeof out);
    if (aux_message(key.substr(0, key.find('\0')).c_str(), out)) {
        FUZZ_CHECK(strnlen(out, AUX_MESSAGE_SIZE) < AUX_MESSAGE_SIZE);
        for (size_t i = AUX_MESSAGE_SIZE; i < sizeof out; ++i)
            FUZZ_CHECK(out[i] == 'Z');
    }
    fuzz_page("<{M}>");
    put_message("{M}", key.substr(0, key.find('\0')).c_str(), 1 + choice % 100);
    FUZZ_CHECK(tmpl_page() && strlen(tmpl_page()) <= 2 + choice % 100);
    fuzz_reset();
    return 0;
}
