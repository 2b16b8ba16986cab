// Text from outside the template (settings, tool output, the certificate
// index, request values) put into a page: the characters that mean something
// in HTML are written as entities, so such a text can neither end the element
// or attribute it stands in nor bring markup of its own. Texts without them
// are put in byte for byte.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

// Appends the first len bytes of text to out, escaped: & < > " ' become
// &amp; &lt; &gt; &quot; &#39;.
void html_escape_append(std::string& out, const char* text, size_t len);
// The size of the escaped text, and the escaped text written at out (room for
// that size); returns the end of what was written.
size_t html_escaped_size(const char* text, size_t len);
char* html_escape_to(char* out, const char* text, size_t len);
std::string html_escape(const char* text);

// A text written at its end into room made ahead: not cleared first, made
// larger as needed, copied out once.
struct TextBuffer {
    std::unique_ptr<char[]> data;
    size_t size = 0, used = 0;
    // Where need more bytes can be written (what is there stays).
    char* room_for(size_t need) { return size >= used + need ? data.get() + used : grow(need); }
    char* grow(size_t need);
    void ends_at(const char* end) { used = size_t(end - data.get()); }
    std::string text() const { return std::string(data.get(), used); }
};

// Whether a character needs an entity (all five are below 64).
inline bool html_special(unsigned char c)
{
    constexpr unsigned long long SPECIAL = (1ull << '&') | (1ull << '<') | (1ull << '>') | (1ull << '"') | (1ull << '\'');
    return c < 64 && ((SPECIAL >> c) & 1);
}

// tmpl_replace with the text escaped: the way to put a value into a page.
// tmpl_replace itself is for markup the program builds. Without memory for
// the escaped copy the placeholder stays, as with a page that cannot grow.
void tmpl_replace_text(const char* placeholder, const char* text);
