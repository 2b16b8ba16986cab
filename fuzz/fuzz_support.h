// What every fuzz target shares: a sandbox of its own for the device's "/"
// and the document root, with log records, commands and printed pages going
// nowhere, and the request state reset between inputs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "render/aux.h"
#include "device/device.h"
#include "render/tmpl.h"

struct FuzzSandbox {
    std::string base;  // everything below is removed at exit
    std::string root;  // GWADMIN_ROOT
    std::string doc;   // the document root, the working directory
};

inline FuzzSandbox& fuzz_sandbox()
{
    static FuzzSandbox sandbox;
    return sandbox;
}

inline void fuzz_remove_sandbox()
{
    std::error_code ec;
    std::filesystem::remove_all(fuzz_sandbox().base, ec);
}

// Makes the sandbox (under $GWADMIN_FUZZ_TMP, else in memory where /dev/shm
// allows it, else /tmp) and enters the document root.
inline void fuzz_setup()
{
    const char* tmp = getenv("GWADMIN_FUZZ_TMP");
    std::string dir = tmp && *tmp ? tmp : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    dir += "/gwfuzz-XXXXXX";
    if (!mkdtemp(&dir[0]))
        abort();
    FuzzSandbox& s = fuzz_sandbox();
    s.base = dir;
    s.root = dir + "/root";
    s.doc = dir + "/doc";
    for (const char* sub : {"/root/tmp/ulsp", "/root/tmp/upload", "/root/tmp/certs", "/root/var/log",
                            "/root/var/run", "/doc/english", "/doc/deutsc", "/doc/templates"})
        std::filesystem::create_directories(dir + sub);
    // Records and commands would fill the disk over a long run.
    if (symlink("/dev/null", (s.root + "/var/log/messages").c_str()) != 0 ||
        symlink("/dev/null", (s.root + "/var/log/commands").c_str()) != 0)
        abort();
    setenv("GWADMIN_ROOT", s.root.c_str(), 1);
    if (dev_init() != 0 || chdir(s.doc.c_str()) != 0)
        abort();
    int null_fd = open("/dev/null", O_WRONLY);  // error pages and printed pages
    if (null_fd < 0 || dup2(null_fd, 1) < 0)
        abort();
    close(null_fd);
    atexit(fuzz_remove_sandbox);
}

// A whole file, named by its device path, or under the document root when relative.
inline void fuzz_write(const std::string& path, const void* data, size_t size)
{
    conf_forget();  // a file written anew is read anew, as by a new process
    aux_forget();
    const std::string full = path[0] == '/' ? fuzz_sandbox().root + path : fuzz_sandbox().doc + "/" + path;
    FILE* f = fopen(full.c_str(), "wb");
    if (!f)
        abort();
    if (size)
        fwrite(data, 1, size, f);
    fclose(f);
}

// The request record as a new process starts with it.
inline void fuzz_reset()
{
    conf_forget();
    aux_forget();
    tmpl_free();
    http_free();
    g_request = RequestState{};
}

// The page text a handler fills, as a template would have loaded it.
inline void fuzz_page(const char* text)
{
    tmpl_free();
    g_request.page = strdup(text);
}

// The input cut into texts at its NUL bytes (at most n; the last keeps the rest).
inline void fuzz_split(const uint8_t* data, size_t size, std::string* parts, size_t n)
{
    std::string input(reinterpret_cast<const char*>(data), size);
    size_t at = 0;
    for (size_t i = 0; i < n; ++i) {
        size_t end = i + 1 < n ? input.find('\0', at) : std::string::npos;
        parts[i] = at <= input.size() ? input.substr(at, end == std::string::npos ? std::string::npos : end - at) : "";
        at = end == std::string::npos ? input.size() + 1 : end + 1;
    }
}

#define FUZZ_CHECK(condition)                                                          \
    do {                                                                               \
        if (!(condition)) {                                                            \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            abort();                                                                   \
        }                                                                              \
    } while (0)

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz_setup();
    return 0;
}
