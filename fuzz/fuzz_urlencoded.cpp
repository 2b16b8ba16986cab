// The query string, a urlencoded body and the program arguments of one request. The input up to its first NUL
// is the query string (and the one argument), the rest is the body; the first byte chooses CONTENT_LENGTH.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string parts[2];
    fuzz_split(data, size, parts, 2);
    std::string& body = parts[1];
    setenv("QUERY_STRING", parts[0].c_str(), 1);
    setenv("REQUEST_METHOD", "POST", 1);
    unsetenv("CONTENT_TYPE");
    const size_t lengths[] = {body.size(), body.size() / 2, body.size() + 100};
    if (size && data[0] % 4 == 3)
        unsetenv("CONTENT_LENGTH");
    else
        setenv("CONTENT_LENGTH", std::to_string(lengths[size ? data[0] % 4 : 0]).c_str(), 1);
    FILE* in = body.empty() ? fopen("/dev/null", "r") : fmemopen(&body[0], body.size(), "r");
    FUZZ_CHECK(in);
    http_set_input(in);
    char* argv[] = {const_cast<char*>("gwadmin"), &parts[0][0]};
    FUZZ_CHECK(http_parse(2, argv) == 0);
    http_set_input(nullptr), fclose(in);

    FUZZ_CHECK(strnlen(g_request.lang, sizeof g_request.lang) <= 6);
    const char* lang = http_lang();
    FUZZ_CHECK(lang[0] != '\0' && lang[0] != '.' && !strchr(lang, '/'));
    for (const char* name : {"", "lang", "item", "step", "x"})
        FUZZ_CHECK(http_var(name) != nullptr);
    FUZZ_CHECK(g_request.files == nullptr);
    fuzz_reset();
    return 0;
}
