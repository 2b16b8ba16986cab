#include "conf/conf.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "device/device.h"
#include "render/aux.h"

namespace {

constexpr size_t NAME_SIZE = 64;  // keys and paths
constexpr size_t LINE_SIZE = 256; // lines are read in pieces of 255 characters

// The device path of a configuration file ("/tmp/ulsp//dhcp.config").
void conf_path(char (&path)[NAME_SIZE], const char* file)
{
    snprintf(path, sizeof path, "%s/%s", CONF_DIR, file);
}

// The key as the store handles it: at most 63 characters.
void conf_key(char (&key)[NAME_SIZE], const char* wanted)
{
    snprintf(key, sizeof key, "%s", wanted);
}

void copy_cut(char* out, size_t size, const char* text, size_t len)
{
    if (len > size - 1)
        len = size - 1;
    memcpy(out, text, len);
    out[len] = '\0';
}

// Opens a configuration file (host path) and takes an advisory lock on it:
// shared (LOCK_SH) to read, exclusive (LOCK_EX) to rewrite or append. Every
// request is a process of its own, and without the lock two rewrites of one
// file would each start from the same old content and the later would drop
// the earlier's key.
//
// The lock is on the file itself, not on a lock file beside it: the folder
// holds only the settings (the device's scripts and its save tool take the
// folder as it is), and a folder that allows no new file still has its
// settings locked. A rewrite replaces the file by renaming a new one over it,
// so a lock won on a descriptor that by then names the replaced file guards
// nothing: the lock is only kept when the descriptor is still the file at the
// path, otherwise the file is opened and locked again. Only gwadmin takes
// these locks; the device's scripts do not.
FILE* open_locked(const std::string& path, const char* mode, int operation)
{
    for (int attempt = 0;; ++attempt) {
        FILE* f = fopen(path.c_str(), mode);
        if (!f)
            return nullptr;
        int locked;
        while ((locked = flock(fileno(f), operation)) != 0 && errno == EINTR) {
        }
        struct stat held, named;
        if (locked != 0 || attempt >= 1000)  // no locks here, or replaced again and again: as it is
            return f;
        if (fstat(fileno(f), &held) == 0 && stat(path.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
            held.st_ino == named.st_ino)
            return f;
        fclose(f);
    }
}

// Writes the rewritten content back. A sibling file renamed over the old one
// leaves the file whole at every moment; where the folder does not allow a
// new file, the file is rewritten in place.
int write_back(FILE* tmp, const char* full_path)
{
    std::string fresh = std::string(full_path) + ".new" + std::to_string(getpid());
    FILE* out = fopen(fresh.c_str(), "w");
    bool in_place = !out;
    if (in_place)
        out = fopen(full_path, "w");
    if (!out)
        return -1;
    struct stat st;
    if (!in_place && stat(full_path, &st) == 0)
        fchmod(fileno(out), st.st_mode & 07777);
    rewind(tmp);
    char line[LINE_SIZE];
    bool ok = true;
    while (fgets(line, sizeof line, tmp))
        ok = fputs(line, out) >= 0 && ok;
    ok = fclose(out) == 0 && ok;
    if (in_place)
        return ok ? 0 : -1;
    if (!ok || rename(fresh.c_str(), full_path) != 0) {
        int err = errno;
        unlink(fresh.c_str());
        errno = err;
        return -1;
    }
    return 0;
}

// The value as a line of the file can carry it. The device's scripts read
// these files as shell text: a quote would end the value early and let the
// rest run as a command, a line break would start a setting of its own. Both
// are left out; any other text is written as it is.
std::string line_value(const char* value)
{
    std::string out;
    for (const char* p = value ? value : ""; *p; ++p)
        if (*p != '\'' && *p != '\n' && *p != '\r')
            out += *p;
    return out;
}

}  // namespace

char* conf_get(const char* wanted, char* out, size_t size, const char* file)
{
    if (!out || size == 0)
        return out;
    out[0] = '\0';
    if (!wanted || !file) {
        aux_error("in file conf line 24", EINVAL);
        return out;
    }
    char key[NAME_SIZE], path[NAME_SIZE];
    conf_key(key, wanted);
    conf_path(path, file);
    FILE* f = open_locked(dev_path(path), "r", LOCK_SH);
    if (!f) {
        aux_error("in file conf line 36", errno);
        return out;
    }
    char line[LINE_SIZE];
    char* save = nullptr;
    if (aux_keyed_line(f, line, sizeof line, key, "=", &save)) {
        const char* value = strtok_r(nullptr, "'", &save);
        if (value && value[0] != '\n')
            copy_cut(out, size, value, strlen(value));
    }
    fclose(f);
    return out;
}

bool conf_find(const char* wanted, std::string& value, const char* file)
{
    value.clear();
    char key[NAME_SIZE], path[NAME_SIZE];
    conf_key(key, wanted);
    conf_path(path, file);
    FILE* f = open_locked(dev_path(path), "r", LOCK_SH);
    if (!f)
        return false;
    char line[LINE_SIZE];
    char* save = nullptr;
    bool found = aux_keyed_line(f, line, sizeof line, key, "=", &save);
    if (found) {
        const char* text = strtok_r(nullptr, "'", &save);
        if (text && text[0] != '\n')
            value = text;
    }
    fclose(f);
    return found;
}

std::string conf_value(const char* key, const char* file, size_t max)
{
    char value[CONF_VALUE_SIZE];
    conf_get(key, value, max + 1 < sizeof value ? max + 1 : sizeof value, file);
    return value;
}

int conf_add(const char* wanted, const char* value, const char* file)
{
    char key[NAME_SIZE], path[NAME_SIZE];
    conf_key(key, wanted ? wanted : "");
    conf_path(path, file ? file : "");
    FILE* f = open_locked(dev_path(path), "a", LOCK_EX);
    if (!f) {
        aux_error("in file conf line 80", errno);
        return -1;
    }
    fprintf(f, "%s='%s'\n", key, line_value(value).c_str());
    fclose(f);
    return 0;
}

int conf_set(const char* wanted, const char* value, const char* file)
{
    if (!wanted || !file) {
        aux_error("in file conf line 96", EINVAL);
        return -1;
    }
    char key[NAME_SIZE], path[NAME_SIZE];
    conf_key(key, wanted);
    conf_path(path, file);
    FILE* tmp = tmpfile();
    if (!tmp) {
        aux_error("in file conf line 105", errno);
        return -1;
    }
    std::string full_path = dev_path(path);
    FILE* in = open_locked(full_path, "r", LOCK_EX);  // held until the new content is in place
    if (!in) {
        aux_error("in file conf line 111", errno);
        fclose(tmp);
        return -1;
    }
    size_t key_len = strlen(key);
    std::string written = line_value(value);
    char line[LINE_SIZE];
    while (fgets(line, sizeof line, in)) {
        bool setting = strlen(line) >= 2 && line[0] != '#';
        if (setting && strcspn(line, "=") >= key_len && strncmp(line, key, key_len) == 0) {
            if (value)
                fprintf(tmp, "%s='%s'\n", key, written.c_str());
        } else {
            fputs(line, tmp);
        }
    }
    int result = write_back(tmp, full_path.c_str());
    if (result != 0)
        aux_error("in file conf line 151", errno);
    fclose(in);
    fclose(tmp);
    return result;
}

int conf_delete(const char* key, const char* file) { return conf_set(key, nullptr, file); }
