// The show and apply handlers of the pages, as the page table calls them.
// Each takes no argument and returns 0 when the page is to be printed.
#pragma once
