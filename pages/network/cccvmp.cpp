// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int cccvmp_act() { return 0; }
int cccvmp_show() { return 0; }
