// The request front end: the process-wide request record, the lookups every
// page uses, and the parsers of the CGI input (query string, urlencoded body,
// program arguments, multipart bodies with uploads).
#pragma once

#include <cstdint>
#include <cstdio>

struct HListNode {
    char* name;   // in the node's own allocation
    char* value;  // in the node's own allocation
    HListNode* next;
};

struct RequestState {
    char* page;           // the loaded template (owned by tmpl)
    HListNode* variables; // HList: newest first, ends in the sentinel node
    HListNode* files;     // uploads: newest first, no sentinel
    char lang[8];
    int32_t item;
    int32_t act;
};

// The one request record of the process.
extern RequestState g_request;

// Where the request body is read from (standard input unless a test says otherwise).
void http_set_input(FILE* in);

// The language directory used when lang is empty or could leave the document root.
constexpr const char* HTTP_DEFAULT_LANG = "english";

void http_add_pair(const char* piece);
char* http_decode(char* text);
char* http_strdup(const char* text);
HListNode* http_node_new(const char* name, const char* value);
void http_node_free(HListNode* node);

// which: 1 = request variables, 2 = uploaded files.
const char* http_lookup(const char* name, int which);
const char* http_var(const char* name);
const char* http_file(const char* name);
const char* http_lang();
int http_item();
int http_act();
int http_free();

int http_parse(int argc, char** argv);
void http_parse_urlencoded(int argc, char** argv);
int http_parse_multipart(int argc, char** argv);

// Moves "/tmp/upload/<name>" to "<dir><target>" through the privileged mv.
int http_move_upload(const char* name, const char* dir, const char* target);

// The byte ring the multipart parser streams uploads through.
struct RingBuffer {
    unsigned char* bytes;
    int32_t size;
    int32_t position;  // the oldest byte
};
// Fills the ring with one read of size bytes from in (none: the caller fills
// it); *filled, when given, gets how many came.
int ring_init(RingBuffer* ring, int32_t size, FILE* in, int32_t* filled);
void ring_put(RingBuffer* ring, unsigned char byte);  // stores at position, advances
unsigned char ring_get(const RingBuffer* ring);
int ring_compare(const RingBuffer* ring, const char* text);
void ring_free(RingBuffer* ring);

// Debug dumps, for diagnosis by hand; the request flow calls none of them.
void http_debug_head();
void http_debug_line(const char* text);
void http_debug_tail();
void http_debug_args(int argc, char** argv);
void http_debug_state();
void http_debug_environ();
void http_debug_cgi();
void http_debug_multipart(FILE* in);
