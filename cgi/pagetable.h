// The page table: item number -> page name and handlers.
#pragma once

using PageHandler = int (*)();

struct PageEntry {
    const char* name;     // the template is "<lang>/<name><step>.tmpl"
    PageHandler apply;    // called when act is non-zero
    PageHandler show;     // called when act is zero
};

constexpr int PAGE_COUNT = 50;

// The row of an item; items outside 0..49 get the empty name and no handler.
const PageEntry& page_entry(int item);
