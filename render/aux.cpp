#include "render/aux.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include "cgi/http.h"
#include "device/device.h"

void aux_error(const char* location, int error)
{
    const char* text = strerror(error);
    printf("%sError <b>%s</b>: <b>%s</b> %s %s", "<html><head></head><body>", location, text,
           "<br>Please contact the customer support.", "</body></html>");
    dev_syslog(LOG_ERR, "Error %s: %s", location, text);
}

#if defined(__GLIBC__)
size_t aux_peek(FILE* f, const unsigned char** bytes)
{
    *bytes = reinterpret_cast<const unsigned char*>(f->_IO_read_ptr);
    return f->_IO_read_ptr < f->_IO_read_end ? size_t(f->_IO_read_end - f->_IO_read_ptr) : 0;
}
void aux_take(FILE* f, size_t n) { f->_IO_read_ptr += n; }
#else
size_t aux_peek(FILE*, const unsigned char** bytes)
{
    *bytes = nullptr;
    return 0;
}
void aux_take(FILE*, size_t) {}
#endif

namespace {

// The key of a line as strtok_r(line, separator, save) finds it: [*start,
// *end), or false when the line has none. end stops at a separator or at the
// end of the text.
bool line_key(char* line, const char* separator, char** start, char** end)
{
    char* p = line + strspn(line, separator);
    if (*p == '\0')
        return false;
    *start = p;
    *end = p + strcspn(p, separator);
    return true;
}

// What strtok_r leaves behind a key that ends at end: a separator there is cut
// off and save points past it.
void cut_key(char* end, char** save)
{
    if (*end) {
        *end = '\0';
        *save = end + 1;
    } else {
        *save = end;
    }
}

bool key_matches(const char* start, size_t len, const char* key, size_t key_len)
{
    return len <= key_len && memcmp(start, key, len) == 0;
}

}  // namespace

bool aux_keyed_line(FILE* f, char* line, int size, const char* key, const char* separator, char** save)
{
    size_t key_len = strlen(key);
    char sep = separator[0] != '\0' && separator[1] == '\0' ? separator[0] : '\0';
    size_t piece_max = size > 1 ? size_t(size - 1) : 0;
    for (;;) {
        // A line is read as fgets(line, size, f) would read it. Where the
        // stream already holds the whole piece, its key is looked at where it
        // lies, and only the line that matches is copied out.
        const unsigned char* bytes = nullptr;
        size_t held = sep && piece_max > 0 ? aux_peek(f, &bytes) : 0;
        const char* text = reinterpret_cast<const char*>(bytes);
        const char* newline = held ? static_cast<const char*>(memchr(text, '\n', held < piece_max ? held : piece_max))
                                   : nullptr;
        size_t piece = newline ? size_t(newline - text) + 1 : held >= piece_max ? piece_max : 0;
        if (piece == 0) {
            char *start, *end;
            if (!fgets(line, size, f))
                return false;
            if (line_key(line, separator, &start, &end) && key_matches(start, size_t(end - start), key, key_len)) {
                cut_key(end, save);
                return true;
            }
            continue;
        }
        size_t from = 0;
        while (from < piece && text[from] == sep)
            ++from;
        const char* start = text + from;
        const char* limit = static_cast<const char*>(memchr(start, sep, piece - from));
        if (!limit)
            limit = text + piece;
        const char* zero = static_cast<const char*>(memchr(start, '\0', size_t(limit - start)));
        const char* end = zero ? zero : limit;
        if (end > start && key_matches(start, size_t(end - start), key, key_len)) {
            memcpy(line, text, piece);
            line[piece] = '\0';
            aux_take(f, piece);
            cut_key(line + (end - text), save);
            return true;
        }
        aux_take(f, piece);
    }
}

char* aux_message(const char* key, char* out)
{
    char path[64];
    snprintf(path, sizeof path, "%s/messages", http_lang());
    FILE* f = fopen(path, "r");
    if (!f) {
        aux_error("in file aux line 86", errno);
        return nullptr;
    }
    out[0] = '\0';
    char line[AUX_MESSAGE_SIZE];
    char* save = nullptr;
    if (aux_keyed_line(f, line, sizeof line, key, ":", &save)) {
        if (const char* text = strtok_r(nullptr, ":", &save)) {
            strncpy(out, text, AUX_MESSAGE_SIZE - 1);
            out[AUX_MESSAGE_SIZE - 1] = '\0';
        }
    }
    fclose(f);
    return out;
}

char* aux_run_capture(const char* command, char* text)
{
    FILE* tmp = tmpfile();
    if (!tmp) {
        aux_error("in file aux line 39", errno);
        return nullptr;
    }
    FILE* pipe = dev_popen(command, "r");
    if (!pipe) {
        aux_error("in file aux line 47", errno);
        fclose(tmp);
        return nullptr;
    }
    char block[256];
    for (;;) {
        size_t n = fread(block, 1, sizeof block, pipe);
        fwrite(block, 1, n, tmp);
        if (n < sizeof block)
            break;
    }
    dev_pclose(pipe);

    long size = ftell(tmp);
    size_t old_len = text ? strlen(text) : 0;
    char* grown = size < 0 ? nullptr : static_cast<char*>(realloc(text, old_len + size_t(size) + 1));
    if (!grown) {
        aux_error("in file aux line 68", size < 0 ? errno : ENOMEM);
        fclose(tmp);
        return nullptr;
    }
    rewind(tmp);
    size_t got = fread(grown + old_len, 1, size_t(size), tmp);
    grown[old_len + got] = '\0';
    fclose(tmp);
    return grown;
}

int aux_cryptpw(const char* password, char* out, size_t out_size)
{
    if (!password || !*password || strlen(password) >= 17 || !out || out_size == 0) {
        aux_error("in file aux line 116", EINVAL);
        return -1;
    }
    std::string command = "cryptpw " + sh_quote(password);
    char* hash = aux_run_capture(command.c_str(), nullptr);
    if (!hash) {
        aux_error("in file aux line 128", errno);
        return -1;
    }
    size_t len = strlen(hash);
    len = len > 0 ? len - 1 : 0;
    if (len > out_size - 1)
        len = out_size - 1;
    memcpy(out, hash, len);
    free(hash);
    return 0;
}

int aux_mkdirs(const char* base, const char* path)
{
    char* copy = path ? strdup(path) : nullptr;
    if (!copy) {
        aux_error("in file aux line 146", path ? errno : EINVAL);
        return -1;
    }
    char cwd[1023];
    if (!getcwd(cwd, sizeof cwd)) {
        aux_error("in file aux line 150", errno);
        free(copy);
        return -1;
    }
    int result = 0;
    if (dev_chdir(base) != 0) {
        aux_error("in file aux line 160", errno);
        result = -1;
    }
    char* save = nullptr;
    for (char* part = strtok_r(copy, "/", &save); part && result == 0; part = strtok_r(nullptr, "/", &save)) {
        // Each step goes one folder down; ".." would climb out of base.
        if (strcmp(part, "..") == 0) {
            aux_error("in file aux line 160", EINVAL);
            result = -1;
        } else if ((mkdir(part, 0700) != 0 && errno != EEXIST) || chdir(part) != 0) {
            aux_error("in file aux line 160", errno);
            result = -1;
        }
    }
    free(copy);
    if (result == 0 && chdir(cwd) != 0)
        result = -1;
    return result;
}

char* aux_format_date(time_t when, char* out, bool with_time)
{
    struct tm tm;
    if (!gmtime_r(&when, &tm)) {
        dev_syslog(LOG_INFO, "aux auxDate: gmtime_r fails");
        aux_error(with_time ? "in file aux line 212" : "in file aux line 186", errno);
        return nullptr;
    }
    char text[80];
    if (with_time)
        snprintf(text, sizeof text, "%.2d.%.2d.%d, %.2d:%.2d:%.2d", tm.tm_mday, tm.tm_mon + 1,
                 tm.tm_year + 1900, tm.tm_hour, tm.tm_min, tm.tm_sec);
    else
        snprintf(text, sizeof text, "%.2d.%.2d.%d", tm.tm_mday, tm.tm_mon + 1, tm.tm_year + 1900);
    size_t size = with_time ? AUX_DATETIME_SIZE : AUX_DATE_SIZE;
    snprintf(out, size, "%.*s", int(size - 1), text);
    return out;
}

namespace {
char* date_now(char* out, bool with_time)
{
    if (!out) {
        dev_syslog(LOG_INFO, "aux: invalid argument");
        return nullptr;
    }
    struct timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        dev_syslog(LOG_INFO, "aux auxDate: gettimeofday fails");
        return nullptr;
    }
    return aux_format_date(now.tv_sec, out, with_time);
}
}  // namespace

char* auxDate(char* out) { return date_now(out, false); }
char* auxDateTime(char* out) { return date_now(out, true); }
