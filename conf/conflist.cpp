#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "conf/conf.h"
#include "render/escape.h"

namespace {
void entry_key(char (&key)[64], const char* name, int i, const char* field)
{
    snprintf(key, sizeof key, "%s_%d_%s", name, i, field);
}
}  // namespace

int conf_list_count(const char* name, const char* file)
{
    char key[64];
    snprintf(key, sizeof key, "%s_N", name);
    return atoi(conf_value(key, file).c_str());
}

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
    char value[CONF_VALUE_SIZE];
    size_t size = value_max + 1 < sizeof value ? value_max + 1 : sizeof value;
    for (int i = 1; i <= count; ++i) {
        char key[64];
        entry_key(key, name, i, field);
        conf_get(key, value, size, file);
        size_t len = strlen(value);
        options += "\n      <option>";
        html_escape_append(options, value, len);
        options += "</option>";
        html_escape_append(list, value, len);
        list += ' ';
    }
    return int(list.size());
}

int conf_list_add(const char* name, const char* field, char* text, const char* file)
{
    if (!text || strlen(text) < 2)
        return 0;
    int added = 0;
    char* save = nullptr;
    for (char* word = strtok_r(text, " ", &save); word && added < CONF_LIST_MAX;
         word = strtok_r(nullptr, " ", &save)) {
        char key[64];
        entry_key(key, name, ++added, field);
        conf_add(key, word, file);
    }
    return added;
}

void conf_list_clear(const char* name, const char* field, int count, const char* file)
{
    if (count > CONF_LIST_MAX)
        count = CONF_LIST_MAX;
    std::vector<std::string> keys;
    for (int i = 1; i <= count; ++i) {
        char key[64];
        entry_key(key, name, i, field);
        keys.push_back(key);
    }
    conf_delete_all(keys, file);
}

int conf_list_store(const char* name, const char* field, int old_count, const char* text, const char* file)
{
    conf_list_clear(name, field, old_count, file);
    std::string words = text ? text : "";
    int n = conf_list_add(name, field, text ? &words[0] : nullptr, file);
    char key[64], count[16];
    snprintf(key, sizeof key, "%s_N", name);
    snprintf(count, sizeof count, "%d", n);
    return conf_set(key, count, file);
}
