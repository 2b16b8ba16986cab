// What every fuzz target shares: a sandbox of its own for the device's "/" and the document root (log
// records and commands go to /dev/null, printed pages nowhere), and the request state reset between inputs.
#pragma once

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "render/aux.h"
#include "render/tmpl.h"

#define FUZZ_CHECK(c) \
    do { if (!(c)) { fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #c); abort(); } } while (0)

// The sandbox's folder (removed at exit), under $GWADMIN_FUZZ_TMP, else /dev/shm where it may, else /tmp.
inline std::string& fuzz_base() { static std::string base; return base; }
inline std::string fuzz_root() { return fuzz_base() + "/root"; }

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* tmp = getenv("GWADMIN_FUZZ_TMP");
    std::string dir = std::string(tmp && *tmp ? tmp : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/gwfuzz-XXXXXX";
    FUZZ_CHECK(mkdtemp(&dir[0]));
    fuzz_base() = dir;
    for (const char* sub : {"/root/tmp/ulsp", "/root/tmp/upload", "/root/tmp/certs", "/root/var/log", "/root/var/run",
                            "/doc/english", "/doc/deutsc", "/doc/templates"})
        std::filesystem::create_directories(dir + sub);
    const int null_fd = open("/dev/null", O_WRONLY);  // error pages and printed pages
    FUZZ_CHECK(symlink("/dev/null", (dir + "/root/var/log/messages").c_str()) == 0 &&
               symlink("/dev/null", (dir + "/root/var/log/commands").c_str()) == 0 && null_fd >= 0 &&
               dup2(null_fd, 1) == 1 && setenv("GWADMIN_ROOT", fuzz_root().c_str(), 1) == 0 && dev_init() == 0 &&
               chdir((dir + "/doc").c_str()) == 0);
    close(null_fd);
    atexit([] { std::error_code ec; std::filesystem::remove_all(fuzz_base(), ec); });
    return 0;
}

// A whole file, by its device path, or under the document root when relative; read anew as by a new process.
inline void fuzz_write(const std::string& path, const void* data, size_t size)
{
    conf_forget(), aux_forget();
    FILE* f = fopen((path[0] == '/' ? fuzz_root() + path : fuzz_base() + "/doc/" + path).c_str(), "wb");
    FUZZ_CHECK(f && (size == 0 || fwrite(data, 1, size, f) == size) && fclose(f) == 0);
}

// The request record as a new process starts with it.
inline void fuzz_reset() { conf_forget(), aux_forget(), tmpl_free(), http_free(), g_request = RequestState{}; }

// The page text a handler fills, as a template would have loaded it.
inline void fuzz_page(const char* text) { tmpl_free(), g_request.page = strdup(text); }

// The input cut into n texts at its NUL bytes (the last keeps the rest); those past the input's end are empty.
// Returns how many the input holds.
inline size_t fuzz_split(const uint8_t* data, size_t size, std::string* parts, size_t n)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    size_t at = 0, given = 0;
    for (size_t i = 0; i < n; ++i) {
        const size_t end = i + 1 < n ? input.find('\0', at) : std::string::npos;
        given += at <= input.size();
        parts[i] = at <= input.size() ? input.substr(at, end == std::string::npos ? end : end - at) : "";
        at = end == std::string::npos ? input.size() + 1 : end + 1;
    }
    return given;
}
