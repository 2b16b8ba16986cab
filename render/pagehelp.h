// What the pages have in common, so that each page reads as its tables:
// the result page, settings shown and stored as they are, yes/no fields,
// option lists and the numbered lists of the configuration store.
// Every value these helpers put into a page is HTML-escaped (render/escape.h)
// after it is cut to its size; the language's messages are the device's own
// page text and go in as they are.
#pragma once

#include <cstddef>
#include <string>

#include "conf/conf.h"

constexpr size_t PAGE_BUFFER = 2048;  // the usual message and value buffer

// ---- result page -----------------------------------------------------------

// Puts the message of key (cut to size-1 characters) into placeholder.
void put_message(const char* placeholder, const char* key, size_t size = PAGE_BUFFER);
// Fills "{HEADLINE}" and "{MESSAGE}" from "<module>_head" and "<module>_rslt";
// returns 0.
int page_result(const char* module, size_t size = PAGE_BUFFER);

// ---- single settings -------------------------------------------------------

// Puts the value of key (cut to size-1 characters, then escaped) into placeholder.
void show_key(const char* file, const char* key, const char* placeholder, size_t size = PAGE_BUFFER);
// Writes the form field's value to key as it was sent.
void store_field(const char* file, const char* form, const char* key);

// A setting that the form sends and the page shows unchanged.
struct TextField {
    const char* form;         // form field
    const char* key;          // configuration key
    const char* placeholder;  // page mark
};

template <size_t N>
void store_texts(const char* file, const TextField (&fields)[N])
{
    for (const TextField& f : fields)
        store_field(file, f.form, f.key);
}

template <size_t N>
void show_texts(const char* file, const TextField (&fields)[N], size_t size = PAGE_BUFFER)
{
    for (const TextField& f : fields)
        show_key(file, f.key, f.placeholder, size);
}

// ---- yes/no ----------------------------------------------------------------

bool begins_with(const char* value, const char* word);  // compared over the word's length
bool yes_prefix(const char* value);  // begins with "yes" (three characters)
bool yes_exact(const char* value);   // is exactly "yes"
const char* yes_no(bool yes);        // "yes" or "no"
const char* mark_if(bool on, const char* mark);  // mark or the empty text
inline const char* enabled(bool on) { return on ? "enabled" : "disabled"; }

// ---- option lists ----------------------------------------------------------

struct Option {
    const char* value;
    const char* label;
};

// Whether a stored value selects an option's value.
using OptionMatch = bool (*)(const char* stored, const char* value);
bool match_exact(const char* stored, const char* value);
// The stored value equals the option over the stored value's length, so an
// empty stored value selects every option.
bool match_stored_prefix(const char* stored, const char* value);

// How a page writes its option lines:
// "\n<indent><option value=\"v\"<gap><mark or nothing>>label</option>",
// value and label escaped.
struct OptionStyle {
    const char* indent;
    const char* gap;   // "" or " ": stands before the mark, chosen or not
    const char* mark;  // " selected" or "selected"
    OptionMatch match;
};

std::string option_list(const Option* rows, size_t count, const char* stored, const OptionStyle& style);
template <size_t N>
std::string option_list(const Option (&rows)[N], const char* stored, const OptionStyle& style)
{
    return option_list(rows, N, stored, style);
}

// Radio buttons that switch a page's sections, one per row:
// "\n    <input type=\"radio\" name=\"<name>\" value=\"v\" <checked or nothing>
// onclick=\"chooseDiv(<i>);\">label". The stored value is compared over its
// own length; each button checked puts its number into chosen_mark.
std::string radio_buttons(const char* name, const Option* rows, int count, const char* stored, const char* chosen_mark);

// The interfaces a service can be bound to.
extern const Option INTERFACE_OPTIONS[3];

// ---- numbered lists --------------------------------------------------------

// One field of a numbered list as a page shows and stores it. A page shows a
// list in buffers sized per entry: option_bytes·n+1 for the option lines and
// list_bytes·n+1 for the plain list, n being the count the page read; a
// value is shown cut to list_bytes-1 characters. A negative count makes
// these sizes negative, so the allocation fails: the page reports it at
// failure and shows nothing more.
struct ListField {
    const char* list;          // list name ("HOST")
    const char* field;         // field name ("IP")
    const char* form;          // form field carrying the blank-separated entries
    const char* options_mark;  // placeholder of the option lines
    const char* list_mark;     // placeholder of the plain list
    int option_bytes;          // per entry, option lines
    int list_bytes;            // per entry, plain list (the value and a blank)
    const char* failure;       // location reported when its buffers cannot be had
};

// Renders the field into its two placeholders (both empty when the list is
// empty), sized for count entries; -1 when the buffers cannot be had
// (count below 0), reported at the field's location.
int list_show(const char* file, const ListField& field, long count);
// Replaces the field's entries by the submitted ones; old_count is the count
// the page read before.
int list_store(const char* file, const ListField& field, int old_count);

// A table of fields of one list: stored field by field with the count read
// before the first (each store writes the count, so the last field's stays),
// shown field by field with the count the page read, up to the first that
// cannot be shown.
template <size_t N>
void list_store_all(const char* file, const ListField (&fields)[N])
{
    int old_count = conf_list_count(fields[0].list, file);
    for (const ListField& f : fields)
        list_store(file, f, old_count);
}

template <size_t N>
int list_show_all(const char* file, const ListField (&fields)[N], long count)
{
    for (const ListField& f : fields)
        if (list_show(file, f, count) != 0)
            return -1;
    return 0;
}

// The same, the page reading the count itself first.
template <size_t N>
int list_show_all(const char* file, const ListField (&fields)[N])
{
    return list_show_all(file, fields, conf_list_count(fields[0].list, file));
}
