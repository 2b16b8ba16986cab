// Template loading and placeholder replacement. The input, cut at its NULs,
// is the page text (loaded from a file, so it ends at its first NUL as a
// template does), the placeholder and the replacement text; the replacement
// is also inserted as a file.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string parts[3];
    fuzz_split(data, size, parts, 3);
    std::string& mark = parts[1];
    mark = mark.substr(0, 63);
    fuzz_write("page.tmpl", parts[0].data(), parts[0].size());
    fuzz_write("insert.txt", parts[2].data(), parts[2].size());
    FUZZ_CHECK(tmpl_load("page.tmpl") == 0);
    FUZZ_CHECK(tmpl_page() && strlen(tmpl_page()) == parts[0].size());

    const std::string text = parts[2].substr(0, parts[2].find('\0'));
    tmpl_replace(mark.c_str(), text.c_str());
    FUZZ_CHECK(tmpl_page() != nullptr);
    if (!mark.empty() && text.find(mark) == std::string::npos && text.size() < mark.size())
        FUZZ_CHECK(strstr(tmpl_page(), mark.c_str()) == nullptr);  // the page shrinks to no occurrence
    FUZZ_CHECK(tmpl_insert_file(mark.c_str(), "insert.txt") == 0);
    tmpl_print();
    fuzz_reset();
    FUZZ_CHECK(tmpl_page() == nullptr);
    return 0;
}
