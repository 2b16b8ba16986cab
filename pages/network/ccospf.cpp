// Placeholder until the page is written: prints the template as it is.
#include "pages/pages.h"

int ccospf_act() { return 0; }
int ccospf_show() { return 0; }
