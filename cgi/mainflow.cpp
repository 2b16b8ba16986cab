#include "cgi/mainflow.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <fcntl.h>
#include <unistd.h>

#include "cgi/http.h"
#include "cgi/pagetable.h"
#include "cgi/sameorigin.h"
#include "device/device.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/outcome.h"
#include "render/tmpl.h"

namespace {

constexpr size_t TEMPLATE_PATH_SIZE = 32;
constexpr int ITEM_RESTART = 20;
constexpr int ITEM_NETSTAT = 22;
constexpr int ITEM_VPNCA = 26;
constexpr int ITEM_FACDEF = 38;

bool firmware_update_running()
{
    // whether the file can be opened for reading (without stdio, which costs more)
    int fd = dev_open("/tmp/firmware.pid", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    close(fd);
    return true;
}

// The template of a page: "<lang>/<name><step>.tmpl". A step that would
// leave the language folder, or a path too long for the device's 32-byte
// text, is refused (empty result).
std::string page_template(int item, const char* step)
{
    if (strchr(step, '/'))
        return std::string();
    std::string path = std::string(http_lang()) + "/" + page_entry(item).name + step + ".tmpl";
    return path.size() < TEMPLATE_PATH_SIZE ? path : std::string();
}

int call(PageHandler handler) { return handler ? handler() : 0; }

int dispatch(int item, int act, long step)
{
    if (item < 1 || item >= PAGE_COUNT)
        return 0;
    const PageEntry& page = page_entry(item);
    if (item == ITEM_RESTART && act) {
        call(page.apply);
        return call(page_entry(ITEM_NETSTAT).show);
    }
    if (item == ITEM_VPNCA)
        return call(step == 0 && act == 0 ? page.show : page.apply);
    return call(act ? page.apply : page.show);
}

}  // namespace

int gwadmin_main(int argc, char** argv)
{
    if (dev_init() != 0)
        return 1;
    // Templates and messages are found relative to the document root (where
    // it cannot be entered, relative to where the server started the program).
    if (const char* root = getenv("DOCUMENT_ROOT")) {
        int entered = chdir(root);
        (void)entered;
    }
    if (http_parse(argc, argv) < 0)
        return 1;

    int item = http_item(), act = http_act();
    const char* step_text = http_var("step");
    long step = strtol(step_text, nullptr, 10);
    // Another site's page may show this device's pages, never change them.
    if (sameorigin_refused(item, act, step)) {
        http_free();
        return 1;
    }

    std::string path;
    if (firmware_update_running()) {
        path = std::string(http_lang()) + "/noconf.tmpl";
        item = -1;
        act = 0;
        step = 0;
    } else if (act) {
        path = "templates/resultpage.tmpl";
    } else {
        path = page_template(item, step_text);
    }

    int loaded;
    if (path.empty()) {
        aux_error("in file tmpl line 25", ENAMETOOLONG);
        loaded = -1;
    } else {
        loaded = tmpl_load(path.c_str());
    }
    if (loaded != 0) {
        http_free();
        return 1;
    }
    if (act) {
        // The result page can name the page it answers.
        tmpl_replace("{ITEM}", std::to_string(item).c_str());
        tmpl_replace_text("{LANG}", http_lang());
    }

    if (item == ITEM_FACDEF && !act) {
        tmpl_print();
        tmpl_free();
        http_free();
        return 0;
    }
    int result = dispatch(item, act, step);
    // What the apply's tools did; a result page without tool steps shows
    // nothing there.
    if (act || outcome_recorded())
        outcome_fill();
    if (result == 0)
        tmpl_print();
    tmpl_free();
    outcome_reset();
    http_free();

    if (item == ITEM_RESTART && act) {
        fflush(stdout);
        dev_system("/usr/bin/sudo /sbin/reboot");
    }
    return 0;
}
