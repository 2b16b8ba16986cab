// The configuration store: KEY='value' files in the device folder
// "/tmp/ulsp/", read and rewritten one key at a time, and the numbered lists
// kept in them.
//
// Values are written between single quotes, an apostrophe in them as '\''
// (as a shell reads it), without line breaks, and cut where the line would
// grow past 255 characters.
//
// Reading matches a line whose key is a prefix of the key asked for; writing
// matches every line whose key begins with the key given. Writing never adds
// a key and never creates a file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

constexpr const char* CONF_DIR = "/tmp/ulsp/";
constexpr size_t CONF_VALUE_SIZE = 256;  // room for any value conf_get can find
constexpr int CONF_LIST_MAX = 99;        // the count is written with two digits

// The value of key into out (size bytes, cut to fit); empty when not found.
char* conf_get(const char* key, char* out, size_t size, const char* file);
int conf_add(const char* key, const char* value, const char* file);
// value none: every matching line is removed.
int conf_set(const char* key, const char* value, const char* file);
int conf_delete(const char* key, const char* file);
// conf_get of "<name>_<i>_<field>" for i from 1 to count, in one pass over
// the file: each value (as conf_get gives it, at most 255 characters) is
// handed to each in turn.
void conf_list_values(const char* name, const char* field, int count, const char* file,
                      void (*each)(void* to, const char* value, size_t len), void* to);
// conf_delete of "<name>_<i>_<field>" for i from 1 to count, and conf_add of
// "<name>_<k>_<field>" with the k-th value, each in one pass.
int conf_delete_entries(const char* name, const char* field, int count, const char* file);
int conf_add_entries(const char* name, const char* field, const std::vector<const char*>& values, const char* file);
// conf_delete of every key, in one pass over the file (a list's entries).
int conf_delete_all(const std::vector<std::string>& keys, const char* file);

// A request reads each file once and writes its changes back once: before a
// command runs (the store then reads afresh) and when the process ends.
// conf_flush writes them now; conf_forget also drops what was read.
void conf_flush();
void conf_forget();

// The value of key as conf_get finds it, without any report when the file or
// the key is missing (checks of the request itself, before any page runs);
// false when there is no such line.
bool conf_find(const char* key, std::string& value, const char* file);

// The value of key as a string (at most max characters).
std::string conf_value(const char* key, const char* file, size_t max = CONF_VALUE_SIZE - 1);

// Renders field of every entry of list as "\n      <option>v</option>" lines
// and as "v v " text, each value cut to value_max characters. A count of 0
// leaves both texts as they are and returns 0; otherwise returns the length
// of the list text.
int conf_list_options(const char* name, const char* field, std::string& options, std::string& list,
                      const char* file, size_t value_max = CONF_VALUE_SIZE - 1);
// Appends one entry per blank-separated word of text (at most CONF_LIST_MAX);
// returns how many.
int conf_list_add(const char* name, const char* field, char* text, const char* file);
void conf_list_clear(const char* name, const char* field, int count, const char* file);
// Replaces field of list by the words of text and writes the new count.
int conf_list_store(const char* name, const char* field, int old_count, const char* text, const char* file);
// The entry count of list ("<name>_N"), as a number.
int conf_list_count(const char* name, const char* file);
