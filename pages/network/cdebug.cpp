// System log settings (item 6): the logger's level and remote logging.
#include <cstdio>
#include <cstring>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* LOG = "log.config";

// The level names in the order of the "{LEVEL_SELECT_n}" marks, n from 1.
const char* const LEVELS[] = {"Emerg", "Alert", "Critical", "Error", "Warning", "Notice", "Info", "Debug"};
constexpr int DEFAULT_LEVEL = 4;  // "Error"

const TextField REMOTE[] = {
    {"syslog_remote_ip", "SYSLOGD_REMOTE_HOST", "{REMOTE_IP_VALUE}"},
    {"syslog_remote_port", "SYSLOGD_REMOTE_PORT", "{REMOTE_PORT_VALUE}"},
};

// The first level whose name begins the stored value.
int selected_level(const char* stored)
{
    for (int i = 0; i < 8; ++i)
        if (strncmp(LEVELS[i], stored, strlen(LEVELS[i])) == 0)
            return i + 1;
    return DEFAULT_LEVEL;
}

}  // namespace

int cdebug_act()
{
    store_field(LOG, "loglevel", "SYSLOGD_LOG_LEVEL");
    if (yes_prefix(http_var("remoteLog"))) {
        conf_set("SYSLOGD_REMOTE_LOG", "yes", LOG);
        store_texts(LOG, REMOTE);
    } else {
        conf_set("SYSLOGD_REMOTE_LOG", "no", LOG);
    }
    return page_result("cdebug");
}

int cdebug_show()
{
    bool remote = yes_prefix(conf_value("SYSLOGD_REMOTE_LOG", LOG).c_str());
    int level = selected_level(conf_value("SYSLOGD_LOG_LEVEL", LOG).c_str());
    tmpl_replace("{REMOTE_STATE}", mark_if(remote, "checked"));
    for (int i = 1; i <= 8; ++i) {
        char mark[32], number[AUX_INT_SIZE];
        aux_concat(mark, sizeof mark, {"{LEVEL_SELECT_", aux_int_text(i, number), "}"});
        tmpl_replace(mark, mark_if(i == level, "selected"));
    }
    show_texts(LOG, REMOTE);
    tmpl_replace("{ENABLE_REMOTE_LOGGING}", enabled(remote));
    return 0;
}
