#include "render/tmpl.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cgi/http.h"
#include "render/aux.h"

namespace {

// The page text's buffer as this module last left it, with its size and its
// text's length, and a second buffer of the same kind: a replacement rebuilds
// the whole page into the other buffer and the two change places, so that a
// page of many replacements needs no allocation for each. The page text
// belongs to this module from tmpl_load to tmpl_free.
char* g_owned = nullptr;
size_t g_owned_size = 0;
size_t g_owned_len = 0;
char* g_spare = nullptr;
size_t g_spare_size = 0;

void forget_buffers()
{
    free(g_spare);
    g_spare = nullptr;
    g_spare_size = 0;
    g_owned = nullptr;
    g_owned_size = 0;
    g_owned_len = 0;
}

// The rest of a file that stdio reads (one that cannot be measured, such as
// a pipe, is reported at alloc_location).
char* read_stream(FILE* f, const char* alloc_location)
{
    long size = -1;
    if (fseek(f, 0, SEEK_END) == 0)
        size = ftell(f);
    rewind(f);
    char* text = size < 0 ? nullptr : static_cast<char*>(calloc(size_t(size) + 1, 1));
    if (!text) {
        aux_error(alloc_location, size < 0 ? errno : ENOMEM);
    } else {
        size_t got = fread(text, 1, size_t(size), f);
        text[got] = '\0';
    }
    fclose(f);
    return text;
}

// A whole file as a new text; a file that cannot be opened or held is
// reported at its location and gives none. *size gets the room allocated.
// A plain file is measured and read in one go, without stdio.
char* read_whole(const char* path, const char* open_location, const char* alloc_location, size_t* size)
{
    int fd = path ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (fd < 0) {
        aux_error(open_location, path ? errno : EINVAL);
        return nullptr;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        FILE* f = fdopen(fd, "r");
        if (!f) {
            aux_error(open_location, errno);
            close(fd);
            return nullptr;
        }
        char* text = read_stream(f, alloc_location);
        *size = text ? strlen(text) + 1 : 0;
        return text;
    }
    size_t length = size_t(st.st_size);
    char* text = static_cast<char*>(malloc(length + 1));
    if (!text) {
        aux_error(alloc_location, ENOMEM);
        close(fd);
        return nullptr;
    }
    size_t got = 0;
    while (got < length) {
        ssize_t n = read(fd, text + got, length - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += size_t(n);
    }
    text[got] = '\0';
    close(fd);
    *size = length + 1;
    return text;
}

// The first occurrence of mark (mark_len > 0 characters) in page[from, len).
char* find_mark(char* page, size_t len, size_t from, const char* mark, size_t mark_len)
{
    char* p = page + from;
    char* end = page + len;
    while (size_t(end - p) >= mark_len) {
        p = static_cast<char*>(memchr(p, mark[0], size_t(end - p) - mark_len + 1));
        if (!p)
            return nullptr;
        if (memcmp(p + 1, mark + 1, mark_len - 1) == 0)
            return p;
        ++p;
    }
    return nullptr;
}

}  // namespace

int tmpl_load(const char* path)
{
    size_t size = 0;
    char* text = read_whole(path, "in file tmpl line 25", "in file tmpl line 38", &size);
    if (!text)
        return -1;
    free(g_request.page);
    g_request.page = text;
    g_owned = text;
    g_owned_size = size;
    g_owned_len = strlen(text);
    return 0;
}

void tmpl_replace(const char* placeholder, const char* text)
{
    char* page = g_request.page;
    if (!placeholder || !text || !page || !*placeholder)
        return;
    size_t mark_len = strlen(placeholder);
    size_t text_len = strlen(text);
    // A page put in place by other means is as large as its text.
    bool owned = page == g_owned;
    size_t page_len = owned ? g_owned_len : strlen(page);
    size_t page_size = owned ? g_owned_size : page_len + 1;
    // Every search restarts at the start of the page, so an occurrence formed
    // by the replacement and its neighbours is replaced too. The text before
    // a replacement held no occurrence, so the search may begin just short of
    // it. A text holding the placeholder itself would never finish that way:
    // such a text is put in once per occurrence, left to right.
    bool self = strstr(text, placeholder) != nullptr;
    size_t from = 0;
    // A text that joins its neighbours into a new occurrence on every turn
    // would grow the page without end: a call stops after 65,536
    // replacements, or once it has built 256 MiB of pages, far beyond what a
    // page of the device needs.
    long turns = 1L << 16;
    size_t built = 0;
    constexpr size_t BUILD_LIMIT = size_t(256) << 20;
    bool replaced = false;
    while (char* hit = find_mark(page, page_len, from, placeholder, mark_len)) {
        size_t before = size_t(hit - page);
        size_t fresh_len = page_len - mark_len + text_len;
        if (--turns < 0 || fresh_len > BUILD_LIMIT - built)
            break;
        built += fresh_len;
        // Each replacement builds the whole page anew in the other buffer.
        if (g_spare_size < fresh_len + 1) {
            size_t want = fresh_len + 1 + (fresh_len + 1) / 2;
            char* grown = static_cast<char*>(malloc(want));
            if (!grown)
                break;
            free(g_spare);
            g_spare = grown;
            g_spare_size = want;
        }
        char* fresh = g_spare;
        size_t fresh_size = g_spare_size;
        memcpy(fresh, page, before);
        memcpy(fresh + before, text, text_len);
        memcpy(fresh + before + text_len, hit + mark_len, page_len - before - mark_len + 1);
        g_spare = page;
        g_spare_size = page_size;
        page = fresh;
        page_size = fresh_size;
        page_len = fresh_len;
        replaced = true;
        if (self)
            from = before + text_len;
        else
            from = before >= mark_len - 1 ? before - (mark_len - 1) : 0;
    }
    if (replaced) {
        g_request.page = page;
        g_owned = page;
        g_owned_size = page_size;
        g_owned_len = page_len;
    }
}

int tmpl_insert_file(const char* placeholder, const char* path)
{
    if (!g_request.page || !placeholder || !strstr(g_request.page, placeholder))
        return 0;
    size_t size = 0;
    char* content = read_whole(path, "in file tmpl line 99", "in file tmpl line 110", &size);
    if (!content)
        return -1;
    tmpl_replace(placeholder, content);
    free(content);
    return 0;
}

void tmpl_print()
{
    const char* page = g_request.page;
    if (!page)
        return;
    // Whatever stdio holds (an error page) goes first; the page follows in
    // one write.
    fflush(stdout);
    size_t left = page == g_owned ? g_owned_len : strlen(page);
    while (left > 0) {
        ssize_t n = write(fileno(stdout), page, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        page += n;
        left -= size_t(n);
    }
}

void tmpl_free()
{
    free(g_request.page);
    g_request.page = nullptr;
    forget_buffers();
}

const char* tmpl_page() { return g_request.page; }
