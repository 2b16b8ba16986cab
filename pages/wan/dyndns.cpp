// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int dyndns_act() { return 0; }
int dyndns_show() { return 0; }
