// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int redunt_act() { return 0; }
int redunt_show() { return 0; }
