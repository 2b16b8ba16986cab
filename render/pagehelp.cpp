#include "render/pagehelp.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>

#include "cgi/http.h"
#include "conf/conf.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/tmpl.h"

// Puts a message, cut to size-1 characters, into placeholder.
static void put_cut(const char* placeholder, char* text, size_t size)
{
    if (size > 0 && size - 1 < strlen(text))
        text[size - 1] = '\0';
    tmpl_replace(placeholder, text);
}

void put_message(const char* placeholder, const char* key, size_t size)
{
    char text[AUX_MESSAGE_SIZE];
    if (aux_message(key, text))
        put_cut(placeholder, text, size);
}

int page_result(const char* module, size_t size)
{
    char head[64], result[64];
    aux_concat(head, sizeof head, {module, "_head"});
    aux_concat(result, sizeof result, {module, "_rslt"});
    const char* keys[2] = {head, result};
    char text[2][AUX_MESSAGE_SIZE];
    if (aux_messages(keys, text, 2)) {
        put_cut("{HEADLINE}", text[0], size);
        put_cut("{MESSAGE}", text[1], size);
    }
    return 0;
}

void show_key(const char* file, const char* key, const char* placeholder, size_t size)
{
    char value[CONF_VALUE_SIZE];
    conf_get(key, value, size < sizeof value ? size : sizeof value, file);
    tmpl_replace_text(placeholder, value);
}

void store_field(const char* file, const char* form, const char* key) { conf_set(key, http_var(form), file); }

bool begins_with(const char* value, const char* word) { return strncmp(value, word, strlen(word)) == 0; }
bool yes_prefix(const char* value) { return begins_with(value, "yes"); }
bool yes_exact(const char* value) { return strcmp(value, "yes") == 0; }
const char* yes_no(bool yes) { return yes ? "yes" : "no"; }
const char* mark_if(bool on, const char* mark) { return on ? mark : ""; }

bool match_exact(const char* stored, const char* value)
{
    return stored[0] == value[0] && strcmp(stored, value) == 0;
}
bool match_stored_prefix(const char* stored, const char* value)
{
    return strncmp(stored, value, strlen(stored)) == 0;
}

namespace {

// A fixed piece of an option line in a block of BLOCK bytes, so that it is
// copied as one block whatever its length (the copy may write past its end:
// what follows overwrites that).
constexpr size_t BLOCK = 64;
struct Piece {
    char text[BLOCK] = {};
    size_t len = 0;
    bool fits = true;  // false: the parts are longer than the block
    explicit Piece(std::initializer_list<const char*> parts)
    {
        for (const char* part : parts)
            for (; *part; ++part) {
                fits = fits && len < BLOCK;
                if (fits)
                    text[len++] = *part;
            }
    }
};

// The length of text, and whether a character of it needs an entity.
size_t measure(const char* text, bool& special)
{
    size_t n = 0;
    bool any = false;
    for (unsigned char c; (c = static_cast<unsigned char>(text[n])) != 0; ++n)
        any |= html_special(c);
    special = any;
    return n;
}

char* put_text(char* w, const char* text, size_t len, bool special)
{
    if (special)
        return html_escape_to(w, text, len);
    for (size_t i = 0; i < len; ++i)
        w[i] = text[i];
    return w + len;
}

}  // namespace

std::string option_list(const Option* rows, size_t count, const char* stored, const OptionStyle& style)
{
    // "\n<indent><option value=\"v\"<gap><mark or nothing>>label</option>", written row by row
    // into room made for the row's longest form (every character an entity)
    const Piece open({"\n", style.indent, "<option value=\""});
    const Piece plain({"\"", style.gap, ">"});
    const Piece chosen({"\"", style.gap, style.mark, ">"});
    const Piece close({"</option>"});
    if (!open.fits || !chosen.fits) {
        // a style longer than its blocks, written piece by piece
        std::string out;
        for (size_t i = 0; i < count; ++i) {
            out += std::string("\n") + style.indent + "<option value=\"";
            html_escape_append(out, rows[i].value, strlen(rows[i].value));
            out += std::string("\"") + style.gap + (style.match(stored, rows[i].value) ? style.mark : "") + ">";
            html_escape_append(out, rows[i].label, strlen(rows[i].label));
            out += "</option>";
        }
        return out;
    }
    const size_t fixed = 4 * BLOCK;
    TextBuffer out;
    out.room_for(count * (fixed + 16) + 1);
    auto put = [](char* w, const Piece& p) {
        memcpy(w, p.text, BLOCK);
        return w + p.len;
    };
    for (size_t i = 0; i < count; ++i) {
        bool value_special, label_special;
        const size_t lv = measure(rows[i].value, value_special), ll = measure(rows[i].label, label_special);
        const Piece& after = style.match(stored, rows[i].value) ? chosen : plain;
        char* w = out.room_for(fixed + 6 * (lv + ll));
        w = put(w, open);
        w = put_text(w, rows[i].value, lv, value_special);
        w = put(w, after);
        w = put_text(w, rows[i].label, ll, label_special);
        w = put(w, close);
        out.ends_at(w);
    }
    return out.text();
}

std::string radio_buttons(const char* name, const Option* rows, int count, const char* stored, const char* chosen_mark)
{
    std::string list;
    for (int i = 0; i < count; ++i) {
        const bool chosen = match_stored_prefix(stored, rows[i].value);
        char number[AUX_INT_SIZE];
        aux_int_text(i, number);
        if (chosen)
            tmpl_replace(chosen_mark, number);
        const char* const parts[] = {"\n    <input type=\"radio\" name=\"", name, "\" value=\"", rows[i].value, "\" ",
                                     mark_if(chosen, "checked"), " onclick=\"chooseDiv(", number, ");\">", rows[i].label};
        char line[512];
        const size_t len = aux_concat(line, sizeof line, parts, sizeof parts / sizeof parts[0]);
        if (len < sizeof line)
            list.append(line, len);
        else
            for (const char* part : parts)
                list += part;
    }
    return list;
}

const Option INTERFACE_OPTIONS[3] = {{"none", "None"}, {"eth0", "LAN"}, {"eth1", "WAN"}};

// Whether buffers of a·count+1 bytes can be had for both texts: a negative
// size cannot.
static bool list_buffers(const ListField& f, long count)
{
    return static_cast<long long>(f.option_bytes) * count + 1 >= 0 &&
           static_cast<long long>(f.list_bytes) * count + 1 >= 0;
}

int list_show(const char* file, const ListField& f, long count)
{
    try {
        if (list_buffers(f, count)) {
            std::string options, list;
            conf_list_options(f.list, f.field, options, list, file, static_cast<size_t>(f.list_bytes - 1));
            tmpl_replace(f.options_mark, options.c_str());
            tmpl_replace(f.list_mark, list.c_str());
            return 0;
        }
    } catch (const std::bad_alloc&) {
    }
    aux_error(f.failure, ENOMEM);
    return -1;
}

int list_store(const char* file, const ListField& f, int old_count)
{
    return conf_list_store(f.list, f.field, old_count, http_var(f.form), file);
}
