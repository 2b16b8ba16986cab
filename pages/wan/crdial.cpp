// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int crdial_act() { return 0; }
int crdial_show() { return 0; }
