// Debug dumps of the request, printed as a bare HTML page for diagnosis.
#include <cstdlib>
#include <cstring>

#include "cgi/http.h"

extern char** environ;

namespace {
const char* or_empty(const char* text) { return text ? text : ""; }

void dump_list(const HListNode* node)
{
    for (; node; node = node->next)
        printf("<p>%s:%s</p>\n", node->name, node->value);
}
}  // namespace

void http_debug_head() { fputs("\n\n<html><head></head><body>\n", stdout); }
void http_debug_line(const char* text) { printf("<p>%s</p>\n", or_empty(text)); }
void http_debug_tail() { fputs("</body></html>\n", stdout); }

void http_debug_args(int argc, char** argv)
{
    for (int i = 0; i < argc; ++i)
        http_debug_line(argv[i]);
}

void http_debug_state()
{
    fputs("<p><b>Inhalt von HList:</b></p>\n", stdout);
    printf("<p>Language:%s</p>\n", g_request.lang);
    printf("<p>Item:%d</p>\n", int(g_request.item));
    printf("<p>Act:%d</p>\n", int(g_request.act));
    fputs("<hr><p>Variables:</p>\n", stdout);
    dump_list(g_request.variables);
    fputs("<hr><p>Files:</p>\n", stdout);
    dump_list(g_request.files);
}

void http_debug_environ()
{
    fputs("<p><b>Inhalt von environ:</b></p>\n", stdout);
    for (char** e = environ; e && *e; ++e)
        http_debug_line(*e);
}

void http_debug_cgi()
{
    printf("<p>HTTP_CONTENT_LENGTH:%s</p>\n", or_empty(getenv("HTTP_CONTENT_LENGTH")));
    printf("<p>CONTENT_LENGTH:%s</p>\n", or_empty(getenv("CONTENT_LENGTH")));
    printf("<p>CONTENT_TYPE %s</p>\n", or_empty(getenv("CONTENT_TYPE")));
    http_debug_line("QUERY_STRING");
}

void http_debug_multipart(FILE* in)
{
    char line[999];
    while (fgets(line, sizeof line, in)) {
        http_debug_line(line);
        if (strstr(line, "filename=")) {
            for (int i = 0; i < 2 && fgets(line, sizeof line, in); ++i)
                http_debug_line(line);
            return;
        }
    }
}
