// gwadmin: the router's web administration, one CGI request per run.
#include "cgi/mainflow.h"

int main(int argc, char** argv) { return gwadmin_main(argc, argv); }
