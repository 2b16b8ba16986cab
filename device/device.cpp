#include "device/device.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

namespace {

void (*g_before_command)() = nullptr;

void before_command()
{
    if (g_before_command)
        g_before_command();
}

// dev_create on the file the device path stands for.
FILE* create_file(const char* file, const char* mode)
{
    const bool update = strchr(mode, '+') != nullptr;
    // No link is followed; a FIFO does not block the open (nor is it taken).
    int fd = open(file, (update ? O_RDWR : O_WRONLY) | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                  0666);
    struct stat st;
    int refused = 0;
    if (fd < 0) {
        if (errno != ELOOP && !(errno == ENXIO && lstat(file, &st) == 0 && !S_ISREG(st.st_mode)))
            return nullptr;  // as fopen fails
        refused = errno == ELOOP ? ELOOP : EPERM;
    } else if (fstat(fd, &st) != 0) {
        refused = errno;
    } else if (!S_ISREG(st.st_mode) || st.st_uid != geteuid() || st.st_nlink != 1) {
        refused = EPERM;
    } else if (ftruncate(fd, 0) != 0 || fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
        int error = errno;
        close(fd);
        errno = error;
        return nullptr;
    } else if (FILE* f = fdopen(fd, update ? "w+" : "w")) {
        return f;
    } else {
        int error = errno;
        close(fd);
        errno = error;
        return nullptr;
    }
    if (fd >= 0)
        close(fd);
    if (lstat(file, &st) == 0 && !S_ISDIR(st.st_mode))
        unlink(file);  // only the name: never what a link points at
    errno = refused;
    return nullptr;
}

#ifndef GWADMIN_DEVICE
std::string g_root;  // the sandbox's stand-in for the device's "/"
bool g_path_set = false;

// Appends one line to a log file under the sandbox root, creating
// "var/log" when it is missing.
void sandbox_append(const char* name, const char* prefix, const char* text)
{
    std::string file = g_root + "/var/log/" + name;
    int fd = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0 && errno == ENOENT) {
        std::string dir = g_root + "/var";
        mkdir(dir.c_str(), 0755);
        dir += "/log";
        mkdir(dir.c_str(), 0755);
        fd = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    }
    if (fd < 0)
        return;
    // the line in one write, so that lines of processes at the same time never mix
    std::string line = std::string(prefix) + text + "\n";
    for (size_t at = 0; at < line.size();) {
        ssize_t n = write(fd, line.data() + at, line.size() - at);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        at += size_t(n);
    }
    close(fd);
}

// The file a device path stands for, built on the stack when it fits: every
// configuration read passes here.
class SandboxFile {
public:
    explicit SandboxFile(const char* device_path)
    {
        size_t root_len = g_root.size(), len = strlen(device_path);
        if (root_len + len < sizeof buf_) {
            memcpy(buf_, g_root.data(), root_len);
            memcpy(buf_ + root_len, device_path, len + 1);
        } else {
            spill_ = g_root + device_path;
        }
    }
    const char* c_str() const { return spill_.empty() ? buf_ : spill_.c_str(); }

private:
    char buf_[512];
    std::string spill_;
};

// Puts the sandbox's tool folders in front of PATH, once, before the first
// command runs.
void sandbox_path()
{
    if (g_path_set)
        return;
    g_path_set = true;
    const char* old = getenv("PATH");
    std::string path = g_root + "/usr/bin:" + g_root + "/bin:" + g_root + "/usr/sbin:" + g_root + "/sbin";
    if (old && *old) {
        path += ':';
        path += old;
    }
    setenv("PATH", path.c_str(), 1);
}

std::string prepare_command(const char* command)
{
    before_command();
    sandbox_append("commands", "", command);
    sandbox_path();
    return dev_sandbox_command(command, g_root);
}
#endif

}  // namespace

void dev_before_command(void (*hook)()) { g_before_command = hook; }

std::string dev_sandbox_command(const char* command, const std::string& root)
{
    static const char* const folders[] = {"/usr/", "/bin/", "/sbin/", "/etc/",
                                          "/tmp/", "/home/", "/var/", "/proc/"};
    std::string out;
    out.reserve(strlen(command) + 4 * root.size());
    bool word_start = true;
    for (const char* p = command; *p; ++p) {
        if (word_start && *p == '/') {
            for (const char* folder : folders) {
                if (strncmp(p, folder, strlen(folder)) == 0) {
                    out += root;
                    break;
                }
            }
        }
        out += *p;
        word_start = (*p == ' ' || *p == '\t');
    }
    return out;
}

std::string sh_quote(const char* text)
{
    // An empty text gives no word at all, as it would standing bare in the
    // command's format.
    if (!text || !*text)
        return std::string();
    std::string out = "'";
    for (const char* p = text ? text : ""; *p; ++p) {
        if (*p == '\'')
            out += "'\\''";
        else
            out += *p;
    }
    out += '\'';
    return out;
}

#ifdef GWADMIN_DEVICE

int dev_init() { return 0; }
std::string dev_path(const char* device_path) { return device_path; }
FILE* dev_fopen(const char* p, const char* mode) { return fopen(p, mode); }
int dev_open(const char* p, int flags) { return open(p, flags); }
FILE* dev_create(const char* p, const char* mode) { return create_file(p, mode); }
int dev_stat(const char* p, struct stat* st) { return stat(p, st); }
int dev_mkdir(const char* p, mode_t mode) { return mkdir(p, mode); }
int dev_chdir(const char* p) { return chdir(p); }
int dev_unlink(const char* p) { return unlink(p); }
int dev_system(const char* command)
{
    before_command();
    return system(command);
}
FILE* dev_popen(const char* command, const char* mode)
{
    before_command();
    return popen(command, mode);
}

void dev_syslog(int level, const char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    vsyslog(level, format, ap);
    va_end(ap);
}

#else

int dev_init()
{
    const char* root = getenv("GWADMIN_ROOT");
    if (!root || root[0] != '/') {
        fputs("gwadmin: GWADMIN_ROOT must name the sandbox folder by an absolute path\n", stderr);
        return -1;
    }
    g_root = root;
    while (g_root.size() > 1 && g_root.back() == '/')
        g_root.pop_back();
    if (g_root == "/")
        g_root.clear();
    g_path_set = false;
    return 0;
}

std::string dev_path(const char* device_path) { return g_root + device_path; }
FILE* dev_fopen(const char* p, const char* mode) { return fopen(SandboxFile(p).c_str(), mode); }
int dev_open(const char* p, int flags) { return open(SandboxFile(p).c_str(), flags); }
FILE* dev_create(const char* p, const char* mode) { return create_file(SandboxFile(p).c_str(), mode); }
int dev_stat(const char* p, struct stat* st) { return stat(SandboxFile(p).c_str(), st); }
int dev_mkdir(const char* p, mode_t mode) { return mkdir(SandboxFile(p).c_str(), mode); }
int dev_chdir(const char* p) { return chdir(SandboxFile(p).c_str()); }
int dev_unlink(const char* p) { return unlink(SandboxFile(p).c_str()); }

int dev_system(const char* command)
{
    std::string run = prepare_command(command);
    return system(run.c_str());
}

FILE* dev_popen(const char* command, const char* mode)
{
    std::string run = prepare_command(command);
    return popen(run.c_str(), mode);
}

void dev_syslog(int level, const char* format, ...)
{
    int saved = errno;
    va_list ap, again;
    va_start(ap, format);
    va_copy(again, ap);
    char buffer[512];
    std::string longer;
    int n = 0;
    const char* text = format;  // a record without a conversion is its format as it stands
    bool only_texts = true;     // every conversion a "%s": put together here, without printf
    for (const char* p = format; (p = strchr(p, '%')) != nullptr; p += 2)
        if (p[1] != 's') {
            only_texts = false;
            break;
        }
    if (only_texts && strchr(format, '%')) {
        for (const char* p = format;;) {
            const char* mark = strchr(p, '%');
            longer.append(p, mark ? size_t(mark - p) : strlen(p));
            if (!mark)
                break;
            const char* arg = va_arg(ap, const char*);
            longer += arg ? arg : "(null)";
            p = mark + 2;
        }
        text = longer.c_str();
    } else if (!only_texts) {
        n = vsnprintf(buffer, sizeof buffer, format, ap);
        if (n >= int(sizeof buffer)) {
            longer.resize(size_t(n));
            vsnprintf(&longer[0], longer.size() + 1, format, again);
        }
        text = longer.empty() ? (n < 0 ? "" : buffer) : longer.c_str();
    }
    va_end(ap);
    va_end(again);
    char prefix[16];
    if (level >= 0 && level <= 9) {
        prefix[0] = char('0' + level);
        prefix[1] = ' ';
        prefix[2] = '\0';
    } else {
        snprintf(prefix, sizeof prefix, "%d ", level);
    }
    sandbox_append("messages", prefix, text);
    errno = saved;
}

#endif

int dev_pclose(FILE* pipe) { return pclose(pipe); }
