// Shared services of the page layer: the error page, the message catalogue,
// running a command for its output, password hashing, folders and dates.
#pragma once

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <initializer_list>

constexpr size_t AUX_MESSAGE_SIZE = 512;  // a message line
constexpr size_t AUX_DATE_SIZE = 11;      // "dd.mm.yyyy"
constexpr size_t AUX_DATETIME_SIZE = 21;  // "dd.mm.yyyy, hh:mm:ss"

// Prints the error page for a failure site ("in file conf line 36") and
// records it at LOG_ERR. The program goes on.
void aux_error(const char* location, int error);

// The message text for key from "<lang>/messages" into out (AUX_MESSAGE_SIZE
// bytes): the empty text when no line matches, none when the file is missing.
// The file is read once per request.
char* aux_message(const char* key, char* out);
// The messages of n keys in one pass over the file, as aux_message gives each;
// false (reported once for each key) when the file is missing.
bool aux_messages(const char* const* keys, char (*out)[AUX_MESSAGE_SIZE], size_t n);
// Forgets the message file read (a test that writes another).
void aux_forget();

// Runs command and appends its output to text (a malloc'd text or none);
// returns the grown text (it may have moved), or none on failure, when text is
// left as it was and still belongs to the caller. Of an output longer than
// AUX_CAPTURE_MAX bytes only the last lines that fit are kept (a log shows its
// newest). *status, when given, gets what pclose returned.
constexpr size_t AUX_CAPTURE_MAX = 1u << 20;
char* aux_run_capture(const char* command, char* text, int* status = nullptr);

// The device's hash of password, into out (out_size bytes, zeroed by the caller).
int aux_cryptpw(const char* password, char* out, size_t out_size);

// Creates each folder of path (separated by "/") under the device folder base.
int aux_mkdirs(const char* base, const char* path);

char* auxDate(char* out);
char* auxDateTime(char* out);

// The date texts of a given moment (UTC), as auxDate/auxDateTime write them.
char* aux_format_date(time_t when, char* out, bool with_time);

// Texts put together without printf, which costs a short request more than
// the page's own work: the parts one after another into out (size bytes),
// cut to size-1 characters as snprintf cuts; returns the whole length.
size_t aux_concat(char* out, size_t size, const char* const* parts, size_t n);
inline size_t aux_concat(char* out, size_t size, std::initializer_list<const char*> parts)
{
    return aux_concat(out, size, parts.begin(), parts.size());
}
// format with every "%s" in it replaced by word, cut the same way.
size_t aux_fill(char* out, size_t size, const char* format, const char* word);
// The decimal text of n ("-12"): at most 11 characters and the zero byte.
constexpr size_t AUX_INT_SIZE = 12;
char* aux_int_text(int n, char (&out)[AUX_INT_SIZE]);
