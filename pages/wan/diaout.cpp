// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int diaout_act() { return 0; }
int diaout_show() { return 0; }
