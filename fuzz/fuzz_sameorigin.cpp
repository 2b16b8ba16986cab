// The browser's signals of where a request comes from, and the Host rule. The input, cut at its NULs, is
// Sec-Fetch-Site, Origin, Referer, Host, and the device's host name and domain; a part not there is none.
#include "cgi/sameorigin.h"
#include "fuzz_support.h"

#include <strings.h>

namespace {

std::string name_of(const char* text, bool cut_port)  // lower case, without the port and one trailing dot
{
    std::string name = text ? text : "";
    name = name.substr(0, cut_port ? name.find(':') : std::string::npos);
    for (char& c : name)
        c = char(tolower(static_cast<unsigned char>(c)));
    return !name.empty() && name.back() == '.' ? name.substr(0, name.size() - 1) : name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string parts[6];
    const size_t given = fuzz_split(data, size, parts, 6);
    auto part = [&](size_t i) { return i < given ? parts[i].c_str() : nullptr; };
    const char *fetch = part(0), *origin = part(1), *referer = part(2), *host = part(3);
    const char *hostname = part(4), *domain = part(5);

    const bool same = sameorigin_same_site(fetch, origin, referer, host);
    if (fetch && *fetch)
        FUZZ_CHECK(same == (strcasecmp(fetch, "same-origin") == 0 || strcasecmp(fetch, "same-site") == 0 ||
                            strcasecmp(fetch, "none") == 0));
    else if (!(origin && *origin) && !(referer && *referer))
        FUZZ_CHECK(!same);
    if (host && *host && host[0] != ':' && !strpbrk(host, "/?#@[]")) {  // a page of the host itself is its own
        const std::string own = std::string("http://") + host;
        FUZZ_CHECK(sameorigin_same_site(nullptr, own.c_str(), nullptr, host));
        FUZZ_CHECK(sameorigin_same_site(nullptr, nullptr, (own + "/cgi-bin/gwadmin").c_str(), host));
        FUZZ_CHECK(!sameorigin_same_site(nullptr, "null", (own + "/").c_str(), host));
    }

    // The device's names only add to the addresses and localhost; a name accepted is one of them.
    const bool device = sameorigin_device_host(host, hostname, domain);
    FUZZ_CHECK(device || !sameorigin_device_host(host, nullptr, nullptr));
    if (device && host && *host && host[0] != '[') {
        const std::string name = name_of(host, true), own = name_of(hostname, false);
        const std::string full = hostname && *hostname && domain && *domain
                                     ? name_of((std::string(hostname) + "." + domain).c_str(), false) : "";
        const bool address = !name.empty() && name.find_first_not_of("0123456789.") == std::string::npos;
        FUZZ_CHECK(address || name == "localhost" || (!own.empty() && name == own) || (!full.empty() && name == full));
    }
    return 0;
}
