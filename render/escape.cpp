#include "render/escape.h"

#include <cstring>
#include <new>

#include "render/tmpl.h"

void html_escape_append(std::string& out, const char* text, size_t len)
{
    const char* end = text + len;
    while (text < end) {
        const char* plain = text;
        while (text < end && *text != '&' && *text != '<' && *text != '>' && *text != '"' && *text != '\'')
            ++text;
        out.append(plain, size_t(text - plain));
        if (text == end)
            break;
        switch (*text++) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += "&#39;"; break;
        }
    }
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
