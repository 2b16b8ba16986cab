// The browser's signals of where a request comes from, and the Host rule. The
// input, cut at its NULs, is Sec-Fetch-Site, Origin, Referer, Host, and the
// device's host name and domain; a part that is not there is none.
#include "cgi/sameorigin.h"
#include "fuzz_support.h"

#include <algorithm>
#include <strings.h>

namespace {

std::string lower(std::string text)
{
    for (char& c : text)
        c = char(tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string without_dot(std::string name)
{
    if (!name.empty() && name.back() == '.')
        name.pop_back();
    return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string parts[6];
    fuzz_split(data, size, parts, 6);
    const size_t given = std::count(data, data + size, uint8_t(0)) + 1;
    auto part = [&](size_t i) { return i < given ? parts[i].c_str() : nullptr; };
    const char *fetch = part(0), *origin = part(1), *referer = part(2), *host = part(3);
    const char *hostname = part(4), *domain = part(5);

    bool same = sameorigin_same_site(fetch, origin, referer, host);
    if (fetch && *fetch)
        FUZZ_CHECK(same == (strcasecmp(fetch, "same-origin") == 0 || strcasecmp(fetch, "same-site") == 0 ||
                            strcasecmp(fetch, "none") == 0));
    else if (!(origin && *origin) && !(referer && *referer))
        FUZZ_CHECK(!same);
    // A page of the host itself is always the device's own.
    if (host && *host && host[0] != ':' && !strpbrk(host, "/?#@[]")) {
        const std::string own = std::string("http://") + host;
        FUZZ_CHECK(sameorigin_same_site(nullptr, own.c_str(), nullptr, host));
        FUZZ_CHECK(sameorigin_same_site(nullptr, nullptr, (own + "/cgi-bin/gwadmin").c_str(), host));
        FUZZ_CHECK(!sameorigin_same_site(nullptr, "null", (own + "/").c_str(), host));
    }

    // The device's names only add to the addresses and localhost.
    bool device = sameorigin_device_host(host, hostname, domain);
    if (sameorigin_device_host(host, nullptr, nullptr))
        FUZZ_CHECK(device);
    // A name accepted is an address, localhost or one of the device's own names.
    if (device && host && *host && host[0] != '[') {
        const std::string name = without_dot(lower(std::string(host).substr(0, std::string(host).find(':'))));
        const std::string own = without_dot(lower(hostname ? hostname : ""));
        const std::string full = hostname && *hostname && domain && *domain
                                     ? without_dot(lower(std::string(hostname) + "." + domain))
                                     : std::string();
        bool address = !name.empty() && name.find_first_not_of("0123456789.") == std::string::npos;
        FUZZ_CHECK(address || name == "localhost" || (!own.empty() && name == own) || (!full.empty() && name == full));
    }
    FUZZ_CHECK(sameorigin_changes({19, 0, 0, "", false}) && !sameorigin_changes({24, 0, 0, "", false}));
    FUZZ_CHECK(sameorigin_changes({24, 1, 0, "", false}) && sameorigin_changes({24, 0, 0, "", true}));
    return 0;
}
