// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int ccsnmp_act() { return 0; }
int ccsnmp_show() { return 0; }
