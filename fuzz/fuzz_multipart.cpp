// A multipart/form-data body with uploads, as the stream on standard input. The first byte chooses
// CONTENT_LENGTH (none, the input's size, half of it). Uploads must land in the upload folder and nowhere else.
#include "fuzz_support.h"

#include <set>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::set<fs::path> known{fs::recursive_directory_iterator(fuzz_base()), {}};
    unsetenv("QUERY_STRING");
    setenv("REQUEST_METHOD", "POST", 1);
    setenv("CONTENT_TYPE", "multipart/form-data; boundary=x", 1);
    const int choice = size ? data[0] % 3 : 0;
    if (choice == 0)
        unsetenv("CONTENT_LENGTH");
    else
        setenv("CONTENT_LENGTH", std::to_string(choice == 1 ? size : size / 2).c_str(), 1);
    std::string input(reinterpret_cast<const char*>(data), size);
    FILE* in = input.empty() ? fopen("/dev/null", "r") : fmemopen(&input[0], input.size(), "r");
    FUZZ_CHECK(in);
    http_set_input(in);
    char* argv[] = {const_cast<char*>("gwadmin")};
    FUZZ_CHECK(http_parse(1, argv) == 0);
    http_set_input(nullptr), fclose(in);

    FUZZ_CHECK(strnlen(g_request.lang, sizeof g_request.lang) <= 7);
    for (const HListNode* upload = g_request.files; upload; upload = upload->next) {
        const std::string name = upload->value;
        FUZZ_CHECK(!name.empty() && name.find('/') == std::string::npos && name != "." && name != "..");
        FUZZ_CHECK(http_file(upload->name) != nullptr);
    }
    const std::string uploads = fuzz_root() + "/tmp/upload/";
    for (const auto& entry : fs::recursive_directory_iterator(fuzz_base())) {
        const std::string path = entry.path();
        FUZZ_CHECK(known.count(path) || (path.rfind(uploads, 0) == 0 && path.find('/', uploads.size()) == path.npos &&
                                         entry.is_regular_file()));
    }
    for (const auto& entry : fs::directory_iterator(uploads))
        fs::remove(entry.path());
    fuzz_reset();
    return 0;
}
