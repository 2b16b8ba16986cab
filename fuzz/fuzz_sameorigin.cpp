// The browser's signals of where a request comes from. The input, cut at its
// NULs, is Sec-Fetch-Site, Origin, Referer and Host; a part that is not
// there is none.
#include "cgi/sameorigin.h"
#include "fuzz_support.h"

#include <algorithm>
#include <strings.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string parts[4];
    fuzz_split(data, size, parts, 4);
    const size_t given = std::count(data, data + size, uint8_t(0)) + 1;
    auto part = [&](size_t i) { return i < given ? parts[i].c_str() : nullptr; };
    const char *fetch = part(0), *origin = part(1), *referer = part(2), *host = part(3);
    bool cross = sameorigin_cross_site(fetch, origin, referer, host);
    if (fetch && *fetch)
        FUZZ_CHECK(cross == (strcasecmp(fetch, "cross-site") == 0));
    else if (!(origin && *origin) && !(referer && *referer))
        FUZZ_CHECK(!cross);
    // A page of the host itself is never another site.
    if (host && *host && host[0] != ':' && !strpbrk(host, "/?#@[]")) {
        const std::string own = std::string("http://") + host;
        FUZZ_CHECK(!sameorigin_cross_site(nullptr, own.c_str(), nullptr, host));
        FUZZ_CHECK(!sameorigin_cross_site(nullptr, nullptr, (own + "/cgi-bin/gwadmin").c_str(), host));
    }
    FUZZ_CHECK(sameorigin_changes(19, 0, 0) && !sameorigin_changes(24, 0, 0));
    return 0;
}
