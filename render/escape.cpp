#include "render/escape.h"

#include <cstring>
#include <new>

#include "render/tmpl.h"

namespace {

// The entity of each character that needs one (none: 0), as constant data.
struct Entities {
    const char* of[256] = {};
    unsigned char size[256] = {};
    constexpr Entities()
    {
        set('&', "&amp;", 5);
        set('<', "&lt;", 4);
        set('>', "&gt;", 4);
        set('"', "&quot;", 6);
        set('\'', "&#39;", 5);
    }
    constexpr void set(unsigned char c, const char* entity, unsigned char len)
    {
        of[c] = entity;
        size[c] = len;
    }
};
constexpr Entities ENTITIES;

}  // namespace

char* TextBuffer::grow(size_t need)
{
    size = 2 * (used + need);
    std::unique_ptr<char[]> grown(new char[size]);
    if (used)
        memcpy(grown.get(), data.get(), used);
    data.swap(grown);
    return data.get() + used;
}

size_t html_escaped_size(const char* text, size_t len)
{
    size_t size = len;
    for (size_t i = 0; i < len; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (ENTITIES.of[c])
            size += ENTITIES.size[c] - 1;
    }
    return size;
}

char* html_escape_to(char* out, const char* text, size_t len)
{
    const char* end = text + len;
    if (len <= 16) {  // a short text, character by character
        for (; text < end; ++text) {
            unsigned char c = static_cast<unsigned char>(*text);
            if (!ENTITIES.of[c]) {
                *out++ = *text;
                continue;
            }
            memcpy(out, ENTITIES.of[c], ENTITIES.size[c]);
            out += ENTITIES.size[c];
        }
        return out;
    }
    while (text < end) {
        const char* plain = text;
        while (text < end && !ENTITIES.of[static_cast<unsigned char>(*text)])
            ++text;
        memcpy(out, plain, size_t(text - plain));
        out += text - plain;
        if (text == end)
            break;
        unsigned char c = static_cast<unsigned char>(*text++);
        memcpy(out, ENTITIES.of[c], ENTITIES.size[c]);
        out += ENTITIES.size[c];
    }
    return out;
}

void html_escape_append(std::string& out, const char* text, size_t len)
{
    size_t size = html_escaped_size(text, len);
    if (size == len) {
        out.append(text, len);
        return;
    }
    size_t at = out.size();
    out.resize(at + size);
    html_escape_to(&out[at], text, len);
}

std::string html_escape(const char* text)
{
    std::string out;
    if (text)
        html_escape_append(out, text, strlen(text));
    return out;
}

void tmpl_replace_text(const char* placeholder, const char* text)
{
    if (!text)
        return;
    if (!strpbrk(text, "&<>\"'")) {
        tmpl_replace(placeholder, text);
        return;
    }
    // Without memory for the escaped copy the mark stays, as it does when
    // tmpl_replace cannot grow the page; the raw text never goes in.
    try {
        tmpl_replace(placeholder, html_escape(text).c_str());
    } catch (const std::bad_alloc&) {
    }
}
