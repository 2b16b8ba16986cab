// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int modint_act() { return 0; }
int modint_show() { return 0; }
