// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int blwhit_act() { return 0; }
int blwhit_show() { return 0; }
