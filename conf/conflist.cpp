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
    std::string* options;
    std::string* list;
    size_t max;
};
void render_entry(void* to, const char* value, size_t len)
{
    Rendered& r = *static_cast<Rendered*>(to);
    if (len > r.max)
        len = r.max;
    *r.options += "\n      <option>";
    html_escape_append(*r.options, value, len);
    *r.options += "</option>";
    html_escape_append(*r.list, value, len);
    *r.list += ' ';
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
    options.reserve(size_t(count) * (24 + value_max));
    list.reserve(size_t(count) * (1 + value_max));
    Rendered to{&options, &list, value_max < CONF_VALUE_SIZE - 1 ? value_max : CONF_VALUE_SIZE - 1};
    conf_list_values(name, field, count, file, render_entry, &to);
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
