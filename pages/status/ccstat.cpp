// The status pages (items 22, 43, 44, and 20 after a restart): the output of
// device commands, whole and escaped as text, under a headline.
#include <cstdlib>

#include "pages/pages.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

// Runs the commands in order and shows their joint output.
template <size_t N>
int show_status(const char* headline_key, const char* const (&commands)[N])
{
    char* output = static_cast<char*>(calloc(1, 1));
    for (const char* command : commands) {
        char* grown = output ? aux_run_capture(command, output) : nullptr;
        if (!grown) {
            free(output);
            return -1;
        }
        output = grown;
    }
    put_message("{HEADLINE}", headline_key);
    tmpl_replace_text("{MESSAGE}", output);
    free(output);
    return 0;
}

const char* const NETWORK_COMMANDS[] = {
    "/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1", "/bin/echo", "/sbin/ip route show",
};
const char* const LOG_COMMANDS[] = {"logread"};
const char* const TIME_COMMANDS[] = {"date"};

}  // namespace

int netstat_show() { return show_status("netstat_head", NETWORK_COMMANDS); }
int logstat_show() { return show_status("logstat_head", LOG_COMMANDS); }
int timstat_show() { return show_status("timstat_head", TIME_COMMANDS); }
