#include "render/pagehelp.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "cgi/http.h"
#include "conf/conf.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/tmpl.h"

void put_message(const char* placeholder, const char* key, size_t size)
{
    char text[AUX_MESSAGE_SIZE];
    if (!aux_message(key, text))
        return;
    if (size > 0 && size - 1 < strlen(text))
        text[size - 1] = '\0';
    tmpl_replace(placeholder, text);
}

int page_result(const char* module, size_t size)
{
    char key[64];
    snprintf(key, sizeof key, "%s_head", module);
    put_message("{HEADLINE}", key, size);
    snprintf(key, sizeof key, "%s_rslt", module);
    put_message("{MESSAGE}", key, size);
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

bool match_exact(const char* stored, const char* value) { return strcmp(stored, value) == 0; }
bool match_stored_prefix(const char* stored, const char* value)
{
    return strncmp(stored, value, strlen(stored)) == 0;
}

std::string option_list(const Option* rows, size_t count, const char* stored, const OptionStyle& style)
{
    // "\n<indent><option value=\"v\"<gap><mark or nothing>>label</option>", written row by row
    // into room made for the row's longest form (every character an entity)
    std::string open = std::string("\n") + style.indent + "<option value=\"";
    std::string plain = std::string("\"") + style.gap + ">";
    std::string chosen = std::string("\"") + style.gap + style.mark + ">";
    static const char CLOSE[] = "</option>";
    // Written into a buffer that is not cleared first, copied out once.
    size_t room = count * (open.size() + chosen.size() + sizeof CLOSE + 24) + 1;
    std::unique_ptr<char[]> buf(new char[room]);
    size_t used = 0;
    auto put = [](char* w, const char* text, size_t len) {
        memcpy(w, text, len);
        return w + len;
    };
    for (size_t i = 0; i < count; ++i) {
        const size_t lv = strlen(rows[i].value), ll = strlen(rows[i].label);
        const std::string& after = style.match(stored, rows[i].value) ? chosen : plain;
        const size_t most = open.size() + 6 * (lv + ll) + after.size() + sizeof CLOSE;
        if (room < used + most) {
            room = 2 * (used + most);
            std::unique_ptr<char[]> grown(new char[room]);
            memcpy(grown.get(), buf.get(), used);
            buf.swap(grown);
        }
        char* w = buf.get() + used;
        w = put(w, open.data(), open.size());
        w = html_escape_to(w, rows[i].value, lv);
        w = put(w, after.data(), after.size());
        w = html_escape_to(w, rows[i].label, ll);
        w = put(w, CLOSE, sizeof CLOSE - 1);
        used = size_t(w - buf.get());
    }
    return std::string(buf.get(), used);
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
