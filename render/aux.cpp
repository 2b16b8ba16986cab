#include "render/aux.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
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

namespace {

// The message file of the request's language, read once.
struct Catalogue {
    std::string path;
    bool read = false;
    int error = 0;
    std::string text;
};
Catalogue g_catalogue;

bool load_catalogue(const char* path)
{
    if (g_catalogue.read && g_catalogue.path == path)
        return g_catalogue.error == 0;
    g_catalogue = Catalogue{path, true, 0, std::string()};
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        g_catalogue.error = errno;
        return false;
    }
    char block[8192];
    for (;;) {
        ssize_t n = read(fd, block, sizeof block);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0 || g_catalogue.text.size() > (1u << 20))  // a catalogue is a few KiB
            break;
        g_catalogue.text.append(block, size_t(n));
    }
    close(fd);
    return true;
}

// The text of the first line of the catalogue, read in pieces of
// AUX_MESSAGE_SIZE - 1 characters, whose key (the text up to the first ":",
// leading ":" skipped) is a prefix of key: the run after the key up to the next
// ":" (leading ":" skipped). False when no line matches.
// Several keys are looked up in one pass: each gets the first line that
// answers it (found[i] tells whether one did); the pass ends when all have one.
void catalogue_texts(const std::string& text, const char* const* keys, size_t n, std::string* out, bool* found)
{
    size_t left = n;
    for (size_t i = 0; i < n; ++i)
        found[i] = false;
    const size_t piece_max = AUX_MESSAGE_SIZE - 1;
    for (size_t at = 0; at < text.size() && left > 0;) {
        const char* nl = static_cast<const char*>(memchr(text.data() + at, '\n', text.size() - at));
        size_t line_end = nl ? size_t(nl - text.data()) + 1 : text.size();
        size_t piece = line_end - at < piece_max ? line_end - at : piece_max;
        const char* s = text.data() + at;
        at += piece;
        const char* k = s;
        while (k < s + piece && *k == ':')
            ++k;
        if (k == s + piece)
            continue;
        const char* end = nullptr;
        const char* key_end = nullptr;
        const char* colon = nullptr;
        for (size_t i = 0; i < n; ++i) {
            if (found[i] || *k != keys[i][0])  // a key starts with its first character
                continue;
            if (!end) {
                end = s + strnlen(s, piece);
                if (k >= end)
                    break;
                colon = static_cast<const char*>(memchr(k, ':', size_t(end - k)));
                key_end = colon ? colon : end;
            }
            if (strncmp(k, keys[i], size_t(key_end - k)) != 0)  // the line's key begins the one asked for
                continue;
            const char* p = colon ? colon + 1 : end;
            while (p < end && *p == ':')
                ++p;
            const char* stop = static_cast<const char*>(memchr(p, ':', size_t(end - p)));
            out[i].assign(p, stop ? stop : end);
            found[i] = true;
            --left;
        }
    }
}

}  // namespace

void aux_forget() { g_catalogue = Catalogue{}; }

bool aux_messages(const char* const* keys, char (*out)[AUX_MESSAGE_SIZE], size_t n)
{
    std::string path = http_lang();
    path += "/messages";
    if (!load_catalogue(path.c_str())) {
        for (size_t i = 0; i < n; ++i)  // as each look-up would report it
            aux_error("in file aux line 86", g_catalogue.error);
        return false;
    }
    std::string text[4];
    bool found[4];
    for (size_t from = 0; from < n; from += 4) {
        const size_t count = n - from < 4 ? n - from : 4;
        catalogue_texts(g_catalogue.text, keys + from, count, text, found);
        for (size_t i = 0; i < count; ++i) {
            char* o = out[from + i];
            o[0] = '\0';
            if (found[i]) {
                size_t len = text[i].size() < AUX_MESSAGE_SIZE - 1 ? text[i].size() : AUX_MESSAGE_SIZE - 1;
                memcpy(o, text[i].data(), len);
                o[len] = '\0';
            }
        }
    }
    return true;
}

char* aux_message(const char* key, char* out)
{
    char (*text)[AUX_MESSAGE_SIZE] = reinterpret_cast<char (*)[AUX_MESSAGE_SIZE]>(out);
    return aux_messages(&key, text, 1) ? out : nullptr;
}

namespace {

// Appends len characters of text at out[at] as far as size-1 allows.
void put_cut(char* out, size_t size, size_t at, const char* text, size_t len)
{
    if (at + 1 >= size)
        return;
    size_t room = size - 1 - at;
    memcpy(out + at, text, len < room ? len : room);
}

}  // namespace

size_t aux_concat(char* out, size_t size, const char* const* parts, size_t n)
{
    size_t at = 0;
    for (size_t i = 0; i < n; ++i) {
        const char* part = parts[i];
        size_t len = strlen(part);
        put_cut(out, size, at, part, len);
        at += len;
    }
    if (size > 0)
        out[at < size ? at : size - 1] = '\0';
    return at;
}

size_t aux_fill(char* out, size_t size, const char* format, const char* word)
{
    const size_t word_len = strlen(word);
    size_t at = 0;
    for (const char* p = format;;) {
        const char* mark = strchr(p, '%');
        while (mark && mark[1] != 's')
            mark = strchr(mark + 1, '%');
        size_t len = mark ? size_t(mark - p) : strlen(p);
        put_cut(out, size, at, p, len);
        at += len;
        if (!mark)
            break;
        put_cut(out, size, at, word, word_len);
        at += word_len;
        p = mark + 2;
    }
    if (size > 0)
        out[at < size ? at : size - 1] = '\0';
    return at;
}

char* aux_int_text(int n, char (&out)[AUX_INT_SIZE])
{
    char digits[AUX_INT_SIZE];
    size_t count = 0;
    unsigned rest = n < 0 ? 0u - static_cast<unsigned>(n) : static_cast<unsigned>(n);
    do {
        digits[count++] = char('0' + rest % 10);
        rest /= 10;
    } while (rest && count < sizeof digits);
    size_t at = 0;
    if (n < 0)
        out[at++] = '-';
    while (count > 0 && at < sizeof out - 1)
        out[at++] = digits[--count];
    out[at] = '\0';
    return out;
}

char* aux_run_capture(const char* command, char* text, int* status)
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
    char block[4096];
    for (;;) {
        size_t n = fread(block, 1, sizeof block, pipe);
        fwrite(block, 1, n, tmp);
        if (n < sizeof block)
            break;
    }
    int closed = dev_pclose(pipe);
    if (status)
        *status = closed;

    long size = ftell(tmp);
    long from = 0;
    if (size > long(AUX_CAPTURE_MAX)) {
        // the newest lines: from the first line that starts within the last AUX_CAPTURE_MAX bytes
        from = size - long(AUX_CAPTURE_MAX);
        fseek(tmp, from - 1, SEEK_SET);
        for (int c = getc(tmp); c != EOF && c != '\n'; c = getc(tmp))
            ++from;
        size -= from;
    }
    size_t old_len = text ? strlen(text) : 0;
    char* grown = size < 0 ? nullptr : static_cast<char*>(realloc(text, old_len + size_t(size) + 1));
    if (!grown) {
        aux_error("in file aux line 68", size < 0 ? errno : ENOMEM);
        fclose(tmp);
        return nullptr;
    }
    fseek(tmp, from, SEEK_SET);
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
    int status = 0;
    char* hash = aux_run_capture(command.c_str(), nullptr, &status);
    if (!hash) {
        aux_error("in file aux line 128", errno);
        return -1;
    }
    size_t len = strlen(hash);
    len = len > 0 ? len - 1 : 0;  // the newline goes
    // A tool that failed or printed no hash gives none: the stored hash stays.
    if (status != 0 || len == 0) {
        free(hash);
        aux_error("in file aux line 128", EIO);
        return -1;
    }
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
    // The civil date of the day number (days since 1970-01-01, UTC), worked
    // out here: the C library's gmtime looks at the time zone first, which
    // costs a short request more than the page.
    long long days = when / 86400, seconds = when % 86400;
    if (seconds < 0) {
        seconds += 86400;
        --days;
    }
    const long long shifted = days + 719468;  // from 0000-03-01
    const long long era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const long long day_of_era = shifted - era * 146097;
    const long long year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const long long day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const long long mp = (5 * day_of_year + 2) / 153;
    const int day = int(day_of_year - (153 * mp + 2) / 5 + 1);
    const int month = int(mp < 10 ? mp + 3 : mp - 9);
    const long long year = year_of_era + era * 400 + (month <= 2);
    if (year - 1900 > INT_MAX || year - 1900 < INT_MIN) {
        dev_syslog(LOG_INFO, "aux auxDate: gmtime_r fails");
        aux_error(with_time ? "in file aux line 212" : "in file aux line 186", EOVERFLOW);
        return nullptr;
    }
    // "dd.mm.yyyy" or "dd.mm.yyyy, hh:mm:ss", cut to the buffer
    auto two = [](char* w, int n) {
        w[0] = char('0' + n / 10);
        w[1] = char('0' + n % 10);
    };
    char text[48], number[AUX_INT_SIZE];
    two(text, day);
    text[2] = '.';
    two(text + 3, month);
    text[5] = '.';
    size_t at = 6 + aux_concat(text + 6, sizeof text - 6, {aux_int_text(int(year), number)});
    if (with_time) {
        const int hour = int(seconds / 3600), minute = int(seconds / 60 % 60), second = int(seconds % 60);
        memcpy(text + at, ", ", 2);
        two(text + at + 2, hour);
        text[at + 4] = ':';
        two(text + at + 5, minute);
        text[at + 7] = ':';
        two(text + at + 8, second);
        at += 10;
    }
    text[at] = '\0';
    aux_concat(out, with_time ? AUX_DATETIME_SIZE : AUX_DATE_SIZE, {text});
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
