// The certificate authority's index ("/tmp/certs/index.txt", OpenSSL's
// format) as the certificate management page reads it into its lists.
#include "fuzz_support.h"
#include "pages/pages.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_write("/tmp/certs/index.txt", data, size);
    fuzz_page("{NUMBOPTS}|{STATEOPTS}|{COMNAMEOPTS}|{EXPDATEOPTS}|{SYSTEMDATUM}");
    FUZZ_CHECK(mgcert_show() == 0);
    FUZZ_CHECK(tmpl_page() != nullptr);
    if (!memchr(data, '{', size))  // an index may bring marks of its own; otherwise none is left
        FUZZ_CHECK(!strchr(tmpl_page(), '{'));
    fuzz_reset();
    return 0;
}
