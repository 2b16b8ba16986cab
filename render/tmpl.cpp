#include "render/tmpl.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <vector>
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

// A growable text in a malloc'd buffer (the page's buffers change places).
struct Text {
    char* data = nullptr;
    size_t size = 0;  // allocated
    size_t len = 0;
    bool reserve(size_t want)
    {
        if (want <= size)
            return true;
        size_t grown = want + want / 2;
        char* p = static_cast<char*>(realloc(data, grown));
        if (!p)
            return false;
        data = p;
        size = grown;
        return true;
    }
    bool append(const char* s, size_t n)
    {
        if (!reserve(len + n + 1))
            return false;
        memcpy(data + len, s, n);
        len += n;
        return true;
    }
};

// Replacements not made yet (see make_pending): each placeholder and its
// text stand one after another in g_waiting.
struct Pending {
    uint32_t mark, mark_len;  // in g_waiting
    uint32_t text, text_len;
};
std::vector<Pending> g_pending;
Text g_waiting;

std::string_view mark_of(const Pending& p) { return std::string_view(g_waiting.data + p.mark, p.mark_len); }

void drop_pending()
{
    g_pending.clear();
    g_waiting.len = 0;
}

void forget_buffers()
{
    free(g_waiting.data);
    g_waiting = Text{};
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
    drop_pending();
    free(g_request.page);
    g_request.page = text;
    g_owned = text;
    g_owned_size = size;
    g_owned_len = strlen(text);
    return 0;
}

namespace {


// The first occurrence of mark (mark_len characters) that starts in
// a[from, a_len) in the text a[0, a_len) followed by b[0, b_len), as an offset
// into a; npos when there is none.
size_t find_joined(const char* a, size_t a_len, const char* b, size_t b_len, size_t from, const char* mark,
                   size_t mark_len)
{
    for (size_t at = from; at < a_len; ++at) {
        const char* p = static_cast<const char*>(memchr(a + at, mark[0], a_len - at));
        if (!p)
            break;
        at = size_t(p - a);
        size_t in_a = a_len - at < mark_len ? a_len - at : mark_len;
        if (memcmp(p, mark, in_a) == 0 && mark_len - in_a <= b_len && memcmp(b, mark + in_a, mark_len - in_a) == 0)
            return at;
    }
    return SIZE_MAX;
}

// The exact rule, applied to the page at once.
void replace_now(const char* placeholder, const char* text)
{
    char* page = g_request.page;
    if (!placeholder || !text || !page || !*placeholder)
        return;
    const size_t m = strlen(placeholder);
    const size_t t = strlen(text);
    const bool owned = page == g_owned;
    const size_t n = owned ? g_owned_len : strlen(page);
    char* hit = find_mark(page, n, 0, placeholder, m);
    if (!hit)
        return;

    // The page is rebuilt once, from the start: the text before each
    // occurrence, then the replacement. Every search restarts at the start of
    // the page, so an occurrence that a replacement forms with its neighbours
    // is replaced too: the page before the replacement holds none, so only an
    // occurrence starting at most m-1 characters before it can be new, and only
    // there is the page looked at again. A text holding the placeholder itself
    // would never finish that way: such a text is put in once per occurrence,
    // left to right.
    const bool self = strstr(text, placeholder) != nullptr;
    Text out{g_spare, g_spare_size, 0};
    const char* rest = page;  // the page still to be copied
    size_t rest_len = n;
    // A text that joins its neighbours into a new occurrence on every turn
    // would grow the page without end: joins stop after 65,536 per call, or
    // once they have put in and moved 16 MiB of text.
    long joins = 1L << 16;
    size_t join_room = size_t(16) << 20;
    bool failed = !out.reserve(n + 1);
    while (hit && !failed) {
        size_t before = size_t(hit - rest);
        failed = !out.append(rest, before) || !out.append(text, t);
        rest += before + m;
        rest_len -= before + m;
        size_t start = out.len - t;  // where the text just put in begins
        while (!self && !failed && joins > 0 && join_room >= t) {
            size_t from = start >= m - 1 ? start - (m - 1) : 0;
            size_t found = find_joined(out.data, out.len, rest, rest_len, from, placeholder, m);
            if (found == SIZE_MAX)
                break;
            --joins;
            size_t end = found + m;
            if (end > out.len) {  // it reaches into the rest of the page
                join_room -= t;
                rest += end - out.len;
                rest_len -= end - out.len;
                out.len = found;
                failed = !out.append(text, t);
            } else {  // it lies in what was built: the text goes in its place
                size_t tail = out.len - end;
                join_room -= t + tail < join_room ? t + tail : join_room;  // what moves counts too
                failed = !out.reserve(found + t + tail + 1);
                if (!failed) {
                    memmove(out.data + found + t, out.data + end, tail);
                    memcpy(out.data + found, text, t);
                    out.len = found + t + tail;
                }
            }
            start = found;
        }
        hit = failed ? nullptr : find_mark(const_cast<char*>(rest), rest_len, 0, placeholder, m);
    }
    if (!failed)
        failed = !out.append(rest, rest_len);
    if (failed) {  // no room for the new page: it stays as it was
        g_spare = out.data;
        g_spare_size = out.size;
        return;
    }
    out.data[out.len] = '\0';
    // the old page becomes the spare buffer
    g_spare = page;
    g_spare_size = owned ? g_owned_size : n + 1;
    g_request.page = out.data;
    g_owned = out.data;
    g_owned_size = out.size;
    g_owned_len = out.len;
}

// Replacements of the usual kind wait and are made together, in one pass over
// the page, when the page is next looked at (printed, searched, handed out):
// a placeholder "{NAME}" (braces only at its ends) by a text without "{". Made
// in one pass they give what making them one after another gives, provided no
// occurrence of a waiting placeholder can arise from them: one would have to
// start at a "{" of the page itself (no waiting text holds one) that stands
// before a replaced occurrence and is followed up to it only by the start of
// a waiting placeholder. Such a "{" is looked for before each occurrence;
// where there is one, the replacements are made one after another.


// The waiting replacements by mark: an open-addressing table of indexes into
// g_pending (the first of a mark only: a later one finds none left).
struct PendingIndex {
    // a page's usual few in a table of its own, more in one made for them
    int small[256];
    std::vector<int> large;
    int* slots = small;
    size_t size = 0;
    static size_t hash(const char* s, size_t len)
    {
        // a placeholder's length and the characters inside its braces at both ends
        return len * 131 + static_cast<unsigned char>(s[1]) * 31 + static_cast<unsigned char>(s[len - 2]) +
               static_cast<unsigned char>(s[len / 2]) * 7;
    }
    void build()
    {
        size = 16;
        while (size < g_pending.size() * 2)
            size *= 2;
        if (size <= sizeof small / sizeof small[0]) {
            memset(small, 0xff, size * sizeof small[0]);  // -1: empty
        } else {
            large.assign(size, -1);
            slots = large.data();
        }
        for (size_t i = 0; i < g_pending.size(); ++i) {
            const std::string_view m = mark_of(g_pending[i]);
            for (size_t s = hash(m.data(), m.size()) & (size - 1);; s = (s + 1) & (size - 1)) {
                if (slots[s] < 0) {
                    slots[s] = int(i);
                    break;
                }
                if (mark_of(g_pending[size_t(slots[s])]) == m)
                    break;
            }
        }
    }
    const Pending* find(const char* mark, size_t len) const
    {
        const size_t mask = size - 1;
        for (size_t s = hash(mark, len) & mask; slots[s] >= 0; s = (s + 1) & mask) {
            const std::string_view m = mark_of(g_pending[size_t(slots[s])]);
            if (m.size() == len && memcmp(m.data(), mark, len) == 0)
                return &g_pending[size_t(slots[s])];
        }
        return nullptr;
    }
};

// Whether page[from, at) could begin a waiting placeholder.
bool starts_a_mark(const char* from, size_t len)
{
    for (const Pending& p : g_pending)
        if (p.mark_len > len && memcmp(g_waiting.data + p.mark, from, len) == 0)
            return true;
    return false;
}

void make_pending()
{
    if (g_pending.empty())
        return;
    struct Forget {  // what waited, once made, is forgotten; the buffers stay for the next
        ~Forget() { drop_pending(); }
    } forget;
    char* page = g_request.page;
    if (!page || page != g_owned)
        return;  // the page was put in place by other means: they were for another
    size_t longest = 0;
    for (const Pending& p : g_pending)
        longest = p.mark_len > longest ? p.mark_len : longest;
    PendingIndex index;
    index.build();

    const size_t n = g_owned_len;
    Text out{g_spare, g_spare_size, 0};
    bool failed = !out.reserve(n + 1), safe = true, any = false;
    size_t copied = 0;
    // the "{" before the current one, and the "}" that follows it (none within reach: null)
    const char* prev_open = nullptr;
    const char* prev_close = nullptr;
    for (const char* p = page; !failed && safe;) {
        p = static_cast<const char*>(memchr(p, '{', n - size_t(p - page)));
        if (!p)
            break;
        size_t left = n - size_t(p - page);
        const char* close = static_cast<const char*>(memchr(p + 1, '}', (left < longest ? left : longest) - 1));
        const Pending* hit = close ? index.find(p, size_t(close - p) + 1) : nullptr;
        if (hit) {
            // a "{" shortly before it, with no brace up to it, that starts a waiting placeholder
            if (prev_open && size_t(p - prev_open) < longest && (!prev_close || prev_close > p))
                safe = !starts_a_mark(prev_open, size_t(p - prev_open));
            if (!safe)
                break;
            failed = !out.append(page + copied, size_t(p - page) - copied) ||
                     !out.append(g_waiting.data + hit->text, hit->text_len);
            copied = size_t(close - page) + 1;
            any = true;
        }
        prev_open = p;
        prev_close = close;
        ++p;
    }
    if (!safe || failed) {  // one after another
        g_spare = out.data;
        g_spare_size = out.size;
        for (const Pending& p : g_pending)
            replace_now(std::string(mark_of(p)).c_str(), g_waiting.data + p.text);
        return;
    }
    if (!any) {
        g_spare = out.data;
        g_spare_size = out.size;
        return;
    }
    failed = !out.append(page + copied, n - copied);
    if (failed) {
        g_spare = out.data;
        g_spare_size = out.size;
        return;
    }
    out.data[out.len] = '\0';
    g_spare = page;
    g_spare_size = g_owned_size;
    g_request.page = out.data;
    g_owned = out.data;
    g_owned_size = out.size;
    g_owned_len = out.len;
}

}  // namespace

void tmpl_replace(const char* placeholder, const char* text)
{
    char* page = g_request.page;
    if (!placeholder || !text || !page || !*placeholder)
        return;
    if (page != g_owned) {
        drop_pending();
        replace_now(placeholder, text);
        return;
    }
    // "{NAME}" with no other brace: the first brace after the "{" is the "}" that ends it
    const size_t inner = placeholder[0] == '{' ? strcspn(placeholder + 1, "{}") : 0;
    const bool plain = placeholder[0] == '{' && placeholder[1 + inner] == '}' && placeholder[2 + inner] == '\0';
    const size_t m = plain ? inner + 2 : strlen(placeholder);
    const char* brace = plain ? strchr(text, '{') : nullptr;
    if (plain && !brace) {
        const size_t t = strlen(text);
        if (g_pending.empty() && g_pending.capacity() == 0)
            g_pending.reserve(64);
        if (g_waiting.len + m + t + 1 >= UINT32_MAX)  // offsets stay small: make what waits first
            make_pending();
        if (g_waiting.reserve(g_waiting.len + m + t + 4096)) {  // room for the usual ones ahead
            const uint32_t at = uint32_t(g_waiting.len);
            memcpy(g_waiting.data + at, placeholder, m);
            memcpy(g_waiting.data + at + m, text, t + 1);  // with its zero byte, for one after another
            g_waiting.len += m + t + 1;
            g_pending.push_back(Pending{at, uint32_t(m), uint32_t(at + m), uint32_t(t)});
            return;
        }
    }
    make_pending();
    replace_now(placeholder, text);
}

int tmpl_insert_file(const char* placeholder, const char* path)
{
    make_pending();
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
    make_pending();
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
    drop_pending();
    free(g_request.page);
    g_request.page = nullptr;
    forget_buffers();
}

const char* tmpl_page()
{
    make_pending();
    return g_request.page;
}
