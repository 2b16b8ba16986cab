#include "render/tmpl.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cgi/http.h"
#include "render/aux.h"

namespace {

// A whole file as a new text; a file that cannot be opened or held is
// reported at its location and gives none.
char* read_whole(const char* path, const char* open_location, const char* alloc_location)
{
    FILE* f = path ? fopen(path, "r") : nullptr;
    if (!f) {
        aux_error(open_location, path ? errno : EINVAL);
        return nullptr;
    }
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

}  // namespace

int tmpl_load(const char* path)
{
    char* text = read_whole(path, "in file tmpl line 25", "in file tmpl line 38");
    if (!text)
        return -1;
    free(g_request.page);
    g_request.page = text;
    return 0;
}

void tmpl_replace(const char* placeholder, const char* text)
{
    char* page = g_request.page;
    if (!placeholder || !text || !page || !*placeholder)
        return;
    size_t mark_len = strlen(placeholder);
    size_t text_len = strlen(text);
    // Every search restarts at the start of the page, so an occurrence formed
    // by the replacement and its neighbours is replaced too. The text before
    // a replacement held no occurrence, so the search may begin just short of
    // it. A text holding the placeholder itself would never finish that way:
    // such a text is put in once per occurrence, left to right.
    bool self = strstr(text, placeholder) != nullptr;
    size_t from = 0;
    long budget = 1L << 20;  // a guard against endless joins
    while (char* hit = strstr(page + from, placeholder)) {
        if (--budget < 0)
            break;
        size_t before = size_t(hit - page);
        size_t page_len = before + strlen(hit);
        char* fresh = static_cast<char*>(malloc(page_len - mark_len + text_len + 1));
        if (!fresh)
            break;
        memcpy(fresh, page, before);
        memcpy(fresh + before, text, text_len);
        memcpy(fresh + before + text_len, hit + mark_len, page_len - before - mark_len + 1);
        free(page);
        page = fresh;
        if (self)
            from = before + text_len;
        else
            from = before >= mark_len - 1 ? before - (mark_len - 1) : 0;
    }
    g_request.page = page;
}

int tmpl_insert_file(const char* placeholder, const char* path)
{
    if (!g_request.page || !placeholder || !strstr(g_request.page, placeholder))
        return 0;
    char* content = read_whole(path, "in file tmpl line 99", "in file tmpl line 110");
    if (!content)
        return -1;
    tmpl_replace(placeholder, content);
    free(content);
    return 0;
}

void tmpl_print()
{
    if (g_request.page)
        fwrite(g_request.page, 1, strlen(g_request.page), stdout);
}

void tmpl_free()
{
    free(g_request.page);
    g_request.page = nullptr;
}

const char* tmpl_page() { return g_request.page; }
