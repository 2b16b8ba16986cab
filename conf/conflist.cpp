#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "conf/conf.h"
#include "render/aux.h"
#include "render/escape.h"


int conf_list_count(const char* name, const char* file)
{
    char key[64];
    aux_concat(key, sizeof key, {name, "_N"});
    return atoi(conf_value(key, file).c_str());
}

namespace {

struct Rendered {
    TextBuffer options, list;
    size_t max;
};

void render_entry(void* to, const char* value, size_t len)
{
    static const char OPEN[] = "\n      <option>";
    static const char CLOSE[] = "</option>";
    Rendered& r = *static_cast<Rendered*>(to);
    if (len > r.max)
        len = r.max;
    const size_t size = html_escaped_size(value, len);
    char* w = r.options.room_for(sizeof OPEN + size + sizeof CLOSE);
    memcpy(w, OPEN, sizeof OPEN - 1);
    w += sizeof OPEN - 1;
    const char* shown = w;
    w = size == len ? static_cast<char*>(memcpy(w, value, len)) + len : html_escape_to(w, value, len);
    memcpy(w, CLOSE, sizeof CLOSE - 1);
    r.options.ends_at(w + sizeof CLOSE - 1);
    char* l = r.list.room_for(size + 1);
    memcpy(l, shown, size);  // the text just written, escaped
    l[size] = ' ';
    r.list.ends_at(l + size + 1);
}

}  // namespace

int conf_list_options(const char* name, const char* field, std::string& options, std::string& list,
                      const char* file, size_t value_max)
{
    int count = conf_list_count(name, file);
    if (count == 0)
        return 0;
    options.clear();
    list.clear();
    if (count < 0)
        return count;
    if (count > CONF_LIST_MAX)
        count = CONF_LIST_MAX;
    Rendered to;
    to.max = value_max < CONF_VALUE_SIZE - 1 ? value_max : CONF_VALUE_SIZE - 1;
    to.options.room_for(size_t(count) * (24 + to.max));
    to.list.room_for(size_t(count) * (1 + to.max));
    conf_list_values(name, field, count, file, render_entry, &to);
    options = to.options.text();
    list = to.list.text();
    return int(list.size());
}

int conf_list_add(const char* name, const char* field, char* text, const char* file)
{
    if (!text || strlen(text) < 2)
        return 0;
    std::vector<const char*> words;
    char* save = nullptr;
    for (char* word = strtok_r(text, " ", &save); word && words.size() < size_t(CONF_LIST_MAX);
         word = strtok_r(nullptr, " ", &save))
        words.push_back(word);
    if (!words.empty())
        conf_add_entries(name, field, words, file);
    return int(words.size());
}

void conf_list_clear(const char* name, const char* field, int count, const char* file)
{
    conf_delete_entries(name, field, count > CONF_LIST_MAX ? CONF_LIST_MAX : count, file);
}

int conf_list_store(const char* name, const char* field, int old_count, const char* text, const char* file)
{
    conf_list_clear(name, field, old_count, file);
    std::string words = text ? text : "";
    int n = conf_list_add(name, field, text ? &words[0] : nullptr, file);
    char key[64], count[AUX_INT_SIZE];
    aux_concat(key, sizeof key, {name, "_N"});
    aux_int_text(n, count);
    return conf_set(key, count, file);
}
