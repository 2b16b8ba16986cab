// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int distat_act() { return 0; }
int distat_show() { return 0; }
