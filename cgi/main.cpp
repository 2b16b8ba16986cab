// gwadmin: the router's web administration, one CGI request per run.
#include <cstdio>

#include "cgi/mainflow.h"

int main(int argc, char** argv)
{
    // A urlencoded body is read in large pieces rather than the 4 KiB stdio
    // would take from a pipe at a time (a multipart body goes through the
    // parser's own reader); the buffer costs nothing until a body is read.
    static char input_buffer[1 << 16];
    setvbuf(stdin, input_buffer, _IOFBF, sizeof input_buffer);
    return gwadmin_main(argc, argv);
}
