// The page text: a template file loaded whole into the request record, its
// placeholders replaced, then printed.
#pragma once

int tmpl_load(const char* path);
// Replaces every occurrence of placeholder by text. Occurrences are replaced
// from the start of the page; an occurrence the replacement itself brings in
// (text containing the placeholder) is left as it is, so no replacement can
// go on for ever, while one formed by joining the text with its neighbours is
// still replaced.
void tmpl_replace(const char* placeholder, const char* text);
int tmpl_insert_file(const char* placeholder, const char* path);
void tmpl_print();
void tmpl_free();
// The current page text (none before loading).
const char* tmpl_page();
