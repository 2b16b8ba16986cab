// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int dialin_act() { return 0; }
int dialin_show() { return 0; }
