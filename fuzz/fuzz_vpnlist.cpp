// The OpenVPN connection list ("/tmp/vpnlist") as the OpenVPN status page
// reads it. The first byte chooses the role (client: one outgoing line;
// server: the incoming lines) and the language of the captions.
#include "fuzz_support.h"
#include "pages/pages.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const unsigned choice = size ? data[0] : 0;
    const char* mode = choice & 1 ? "OVPN_MODE='client'\n" : "OVPN_MODE='server'\n";
    fuzz_write("/tmp/ulsp/openvpn.config", mode, strlen(mode));
    if (size)
        fuzz_write("/tmp/vpnlist", data + 1, size - 1);
    snprintf(g_request.lang, sizeof g_request.lang, "%s", choice & 2 ? "deutsc" : "english");
    fuzz_page("{STATUS}|{MODE}|{HEAD}|{CONNECTIONS}");
    FUZZ_CHECK(ovpnstatus_show() == 0);
    FUZZ_CHECK(tmpl_page() != nullptr);
    if (!memchr(data, '{', size))  // a list may bring marks of its own; otherwise none is left
        FUZZ_CHECK(!strchr(tmpl_page(), '{'));
    fuzz_reset();
    return 0;
}
